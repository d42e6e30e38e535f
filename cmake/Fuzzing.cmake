# DISTNET_FUZZ: checks that the compiler can build fuzz programs. The flags of the preset asan-ubsan instrument all code, so
# that the sanitizers detect errors in tests and fuzz programs, and a fuzz program sees which code an input reaches. The
# flags leave out the check "vptr": it reports false errors while the process has no descriptor left.
include(CheckCXXSourceCompiles)

set(CMAKE_REQUIRED_FLAGS "-fsanitize=fuzzer,address,undefined")
check_cxx_source_compiles("#include <cstddef>
#include <cstdint>
extern \"C\" int LLVMFuzzerTestOneInput(const uint8_t*, size_t) { return 0; }" DISTNET_HAS_FUZZER)
unset(CMAKE_REQUIRED_FLAGS)
if(NOT DISTNET_HAS_FUZZER)
    message(FATAL_ERROR "DISTNET_FUZZ needs clang and its fuzzer runtime: use the preset \"asan-ubsan\"; scripts/setup installs both")
endif()
