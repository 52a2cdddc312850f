// The test application's start, the log reader and the scratch directory.
#include "dm_test_env.h"

#include <fcntl.h>
#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <mutex>

namespace dmtest {
namespace {

void register_app()
{
    if (!dmstandin::app_register()) {
        ADD_FAILURE()
            << "the library is not loaded (or not with RTLD_GLOBAL), or refused the handlers";
        return;
    }
    EXPECT_EQ(dm_host_run_init(), 0);
}

int remove_entry(const char *path, const struct stat *, int, struct FTW *)
{
    return ::remove(path);
}

}  // namespace

void start_app()
{
    static std::once_flag once;
    std::call_once(once, register_app);
}

std::vector<std::string> log_lines()
{
    std::vector<std::string> lines;
    const int n = dm_host_log_count();
    std::vector<char> buf(8192);
    for (int i = 0; i < n; ++i) {
        if (dm_host_log_line(i, buf.data(), buf.size())) {
            lines.emplace_back(buf.data());
        }
    }
    return lines;
}

int logged(const std::string &text)
{
    int n = 0;
    for (const std::string &line : log_lines()) {
        n += has(line, text);
    }
    return n;
}

size_t count(const std::string &text, const std::string &part)
{
    size_t n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++n;
    }
    return n;
}

void alloc_chipids(int gslot, const std::vector<int> &ids, int per_unit, int card_type)
{
    const auto m = dmstandin::addr_sync(ADDR_LIB_BS_SYNC,
                                        {dmstandin::chipid_slot(gslot, ids, per_unit, card_type)});
    EXPECT_TRUE(dm_host_addr_data(m.data(), static_cast<int>(m.size())));
}

ScratchDir::ScratchDir()
{
    char cwd[4096];
    if (getcwd(cwd, sizeof cwd) != nullptr) {
        old_ = cwd;
    }
    const char *tmp = std::getenv("TMPDIR");
    std::string templ =
        std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/dm_test_XXXXXX";
    if (mkdtemp(templ.data()) == nullptr) {
        ADD_FAILURE() << "mkdtemp failed for " << templ;
        return;
    }
    path_ = templ;
    EXPECT_EQ(chdir(path_.c_str()), 0);
}

ScratchDir::~ScratchDir()
{
    if (!old_.empty() && chdir(old_.c_str()) != 0) {
        ADD_FAILURE() << "cannot return to " << old_;
    }
    if (!path_.empty()) {
        nftw(path_.c_str(), remove_entry, 16, FTW_DEPTH | FTW_PHYS);
    }
}

void ScratchDir::make_dev_file()
{
    mkdir("tmp", 0755);
    const int fd = ::open("tmp/dm_dev", O_CREAT | O_WRONLY | O_TRUNC, 0644);
    ASSERT_GE(fd, 0) << "cannot create tmp/dm_dev";
    ::close(fd);
}

}  // namespace dmtest
