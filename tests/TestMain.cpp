// The main function of every test program.
#include <gtest/gtest.h>

#include <cstdio>

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    const int result = RUN_ALL_TESTS();
    // Without this line the program did not reach its end, whatever its exit code says.
    std::printf("fenwickel tests: done, exit %d\n", result);
    return result;
}
