// Runs all tests of a program. Tasks of the service may still run at the end, so the program exits without destructors,
// as the daemon does. Before that, it checks for leaks.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

int main(int argc, char** argv)
{
    ::testing::InitGoogleMock(&argc, argv);
    const int failed = RUN_ALL_TESTS();
    std::cout.flush();
    std::fflush(nullptr);
#ifdef __SANITIZE_ADDRESS__
    __lsan_do_leak_check();  // if there is a leak, ends the process with an error code
#endif
    _exit(failed);
}
