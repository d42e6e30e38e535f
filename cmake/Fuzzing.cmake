# DISTNET_FUZZ: instruments all code, so that a fuzz program sees which code an input reaches. Include this file before any
# target is defined.
include(CheckCXXSourceCompiles)

set(CMAKE_REQUIRED_FLAGS "-fsanitize=fuzzer,address,undefined")
check_cxx_source_compiles("#include <cstddef>
#include <cstdint>
extern \"C\" int LLVMFuzzerTestOneInput(const uint8_t*, size_t) { return 0; }" DISTNET_HAS_FUZZER)
unset(CMAKE_REQUIRED_FLAGS)
if(NOT DISTNET_HAS_FUZZER)
    message(FATAL_ERROR "DISTNET_FUZZ needs clang and its fuzzer runtime: use the preset \"fuzz\"; scripts/setup installs both")
endif()
add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=undefined)
add_link_options(-fsanitize=address,undefined)
