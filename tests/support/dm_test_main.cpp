// The main of every test program. The library keeps its tables for the life
// of the process and has no way to empty them, so each test case runs in a
// child forked from the untouched process: run whole or one case at a time,
// a case sees only the state it builds itself. The children are forked before
// the library's event thread exists (it starts when a case initialises the
// library), so each child is a whole copy.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

int main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
    const char *sharded = std::getenv("GTEST_TOTAL_SHARDS");
    if (sharded != nullptr || GTEST_FLAG_GET(list_tests)) {
        return RUN_ALL_TESTS();
    }
    // Sharding with one shard per test runs at most one case in each child.
    const int total = testing::UnitTest::GetInstance()->total_test_count();
    int failed = 0;
    for (int i = 0; i < total; ++i) {
        std::fflush(nullptr);
        const pid_t pid = fork();
        if (pid == 0) {
            setenv("GTEST_TOTAL_SHARDS", std::to_string(total).c_str(), 1);
            setenv("GTEST_SHARD_INDEX", std::to_string(i).c_str(), 1);
            GTEST_FLAG_SET(brief, true);
            const int rc = RUN_ALL_TESTS();
            std::fflush(nullptr);
            std::_Exit(rc);
        }
        int status = 0;
        if (pid < 0 || waitpid(pid, &status, 0) != pid || !WIFEXITED(status) ||
            WEXITSTATUS(status) != 0) {
            ++failed;
        }
    }
    std::printf("%d of %d test cases failed\n", failed, total);
    return failed == 0 ? 0 : 1;
}
