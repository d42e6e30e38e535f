# Hardening of the optimised builds. Include this file before any target is defined. The other configurations stay without:
# _FORTIFY_SOURCE needs optimisation, and the sanitizers replace the functions that it would check.
include(CheckPIESupported)
check_pie_supported()  # otherwise CMAKE_POSITION_INDEPENDENT_CODE does not reach the link of a program

# -U: some compilers predefine the macro, and a second definition is a warning.
add_compile_options("$<$<CONFIG:Release>:-fstack-protector-strong;-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
# The loader resolves all symbols at the start and then makes their table read-only.
add_link_options("$<$<CONFIG:Release>:LINKER:-z,relro,-z,now,-z,noexecstack>")
