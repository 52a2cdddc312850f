// The startup and saved port-conversion lists as the data-plane master sends
// them and the application reads them: what the scripted scenario leaves
// out of the transfers, events 1026 and 1027 and their log lines, the show
// commands, the "fcdbg " level and readers during transfers.
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "dm_test_env.h"
#include <dm_lib_pd/dm_fc_lists.h>

namespace {

struct List {
    int begin, chunk, over;
    int (*get)(dm_convert_cfg_t **, int *);
};
const List kStart = {DP_LIB_MSG_FC_START_CFG_BEGIN, DP_LIB_MSG_FC_START_CFG,
                     DP_LIB_MSG_FC_START_CFG_OVER, dm_get_fc_startup_cfg};
const List kSave = {DP_LIB_MSG_FC_SAVE_CFG_BEGIN, DP_LIB_MSG_FC_SAVE_CFG,
                    DP_LIB_MSG_FC_SAVE_CFG_OVER, dm_get_fc_save_cfg};

void begin(const List &l, int32_t num) { dmtest::send(l.begin, num); }
void over(const List &l) { dm_host_send_msg(l.over, "", 0); }

// A chunk announcing min..max and carrying `count` entries {base + i, PORT_FC}
// (by default as many as it announces).
void chunk(const List &l, int min, int max, int base = 0x06010300, int count = -1)
{
    std::vector<int32_t> words = {min, max};
    for (int i = 0; i < (count < 0 ? max - min + 1 : count); ++i) {
        words.insert(words.end(), {base + min + i, PORT_FC});
    }
    dm_host_send_msg(l.chunk, words.data(), static_cast<int>(words.size() * 4));
}

// The committed list's phyids.
std::vector<int> get(const List &l)
{
    dm_convert_cfg_t *cfg = nullptr;
    int num = -1;
    EXPECT_EQ(l.get(&cfg, &num), 0);
    EXPECT_EQ(cfg == nullptr, num == 0);
    std::vector<int> out;
    for (int i = 0; i < num; ++i) {
        out.push_back(cfg[i].phyid);
    }
    std::free(cfg);
    return out;
}

TEST(FcLib, TransfersCommitAtOverAndAnnounceIt)
{
    dmtest::start_app();
    begin(kStart, 1);
    chunk(kStart, 0, 0);
    over(kStart);

    begin(kSave, 1);  // the saved list is independent
    chunk(kSave, 0, 0, 0x500);
    over(kSave);

    // An empty transfer is still announced, and so is an over without a begin.
    begin(kStart, 0);
    over(kStart);
    EXPECT_TRUE(get(kStart).empty());
    over(kSave);
    EXPECT_EQ(get(kSave).size(), 1u);

    std::vector<int> ids;
    for (const dmtest::Event &e : dmtest::wait_events(4)) {
        ids.push_back(e.msg_id + static_cast<int>(e.data.size()));
    }
    EXPECT_EQ(ids, (std::vector<int>{1026, 1027, 1026, 1027}));
    const std::vector<std::string> log = dmtest::log_lines();
    ASSERT_EQ(log.size(), 4u);
    EXPECT_EQ(log[0].substr(log[0].find(">:")), ">:fc startup cfg sync over");
    EXPECT_EQ(log[3].substr(log[3].find(">:")), ">:fc save cfg sync over");
}

// The refusals and their texts are checked with the other bad input; here,
// that refused chunks write nothing into the transfer that goes on.
TEST(FcLib, BadChunksWriteNothing)
{
    dm_host_run_dbg_init("fcdbg 2");
    const std::string out = dmtest::capture_stdout([] {
        begin(kStart, 2);
        chunk(kStart, 1, 2, 0x300);     // beyond the announced count
        chunk(kStart, 1, 0, 0x300);     // reversed: reaches the handler with its head only
        chunk(kStart, 0, 1, 0x300, 1);  // shorter than its range: refused by the dispatcher
        chunk(kStart, 0, 0x7FFFFFFF, 0x300, 1);  // announces far more than it holds
        chunk(kStart, 1, 1, 0x400);
        over(kStart);
    });
    EXPECT_TRUE(dmtest::has(out, "invalid range[1, 2], max:2\r\n")) << out;
    EXPECT_FALSE(dmtest::has(out, "enter\r\n")) << out;  // level 2 hides verbose
    EXPECT_EQ(get(kStart), (std::vector<int>{0, 0x401}));
}

TEST(FcLib, ShowsAndDebugLevel)
{
    dm_host_set_dbg_level(LIB_DBG_END);
    begin(kSave, 2);
    chunk(kSave, 0, 1, 0x06010305);
    over(kSave);
    std::string out = dmtest::capture_stdout([] { dm_host_show(DP_LIB_DBG_SHOW_FC_SAVE_CFG); });
    EXPECT_EQ(out.rfind("dm_get_fc_save_cfg succ. num:2, cfg:0x", 0), 0u) << out;
    EXPECT_EQ(out.substr(out.find("\r\n") + 2),
              "          phyid  type\r\n      0x6010305     7\r\n      0x6010306     7\r\n");
    out = dmtest::capture_stdout([] { dm_host_show(DP_LIB_DBG_SHOW_FC_START_CFG); });
    EXPECT_EQ(out, "dm_get_fc_startup_cfg succ. num:0, cfg:(nil)\r\n");

    // Silent at the initial level 4; show 12 cycles it to 0, where the getter speaks.
    EXPECT_EQ(dmtest::capture_stdout([] { get(kSave); }), "");
    EXPECT_EQ(dmtest::capture_stdout([] { dm_host_show(DP_LIB_FC_DBG_LEVEL); }),
              "dm_fc_lib_dbg=0\r\n");
    out = dmtest::capture_stdout([] { get(kSave); });
    EXPECT_NE(out.find(": dm_get_fc_save_cfg, "), std::string::npos) << out;
    EXPECT_NE(out.find("] get save cfg succ. fc_convert_save_num:2\r\n"), std::string::npos) << out;
}

long resident_kib()
{
    long pages = 0;
    long resident = 0;
    FILE *f = std::fopen("/proc/self/statm", "r");
    if (f != nullptr) {
        EXPECT_EQ(std::fscanf(f, "%ld %ld", &pages, &resident), 2);
        std::fclose(f);
    }
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

// What a list costs follows what was sent: the largest announced count with
// one chunk at each end costs next to nothing to take, read and show, and the
// show prints the sent entries and one line for each long run of unsent ones
// (short runs print entry by entry, as any entry does).
TEST(FcLib, AnnouncedButUnsentEntriesCostNothing)
{
    dm_host_set_dbg_level(LIB_DBG_END);
#ifdef DM_SANITIZED
    const int num = 1 << 20;  // sanitizers' allocators touch what they hand out
#else
    const int num = 268435455;
#endif
    [[maybe_unused]] const long before = resident_kib();
    begin(kStart, num);
    chunk(kStart, num - 2, num - 1, 0x100);
    chunk(kStart, 0, 0, 0x06010300);
    over(kStart);
    const auto t0 = std::chrono::steady_clock::now();
    dm_convert_cfg_t *cfg = nullptr;
    int got = 0;
    ASSERT_EQ(dm_get_fc_startup_cfg(&cfg, &got), 0);
    [[maybe_unused]] const auto took = std::chrono::steady_clock::now() - t0;
    ASSERT_EQ(got, num);
    EXPECT_EQ(cfg[0].phyid, 0x06010300);
    EXPECT_EQ(cfg[num - 1].phyid, 0x100 + num - 1);
    EXPECT_EQ(cfg[num / 2].phyid, 0);
    std::free(cfg);
    const std::string out =
        dmtest::capture_stdout([] { dm_host_show(DP_LIB_DBG_SHOW_FC_START_CFG); });
#ifndef DM_SANITIZED
    EXPECT_LT(took, std::chrono::milliseconds(250));
    EXPECT_LT(resident_kib() - before, 1024);
#endif
    const std::string last = std::to_string(num - 3);
    char tail[64];
    std::snprintf(tail, sizeof tail, "%#15x %5d\r\n%#15x %5d\r\n", 0x100 + num - 2, PORT_FC,
                  0x100 + num - 1, PORT_FC);
    EXPECT_EQ(out.substr(out.find("\r\n") + 2),
              "          phyid  type\r\n      0x6010300     7\r\n"
              "              0     0  (entries 1 to " +
                  last + ", " + last + " in all, were not sent)\r\n" + tail);

    // A short run of unsent entries prints entry by entry.
    begin(kSave, 3);
    chunk(kSave, 2, 2, 0x06010300);
    over(kSave);
    const std::string saved =
        dmtest::capture_stdout([] { dm_host_show(DP_LIB_DBG_SHOW_FC_SAVE_CFG); });
    EXPECT_EQ(saved.substr(saved.find("\r\n") + 2),
              "          phyid  type\r\n              0     0\r\n              0     0\r\n"
              "      0x6010302     7\r\n");
}

TEST(FcLib, ReadersSeeWholeListsWhileTransfersRun)
{
    dm_host_set_dbg_level(LIB_DBG_END);
    std::atomic<bool> stop{false};
    std::thread writer([&] {
        for (int gen = 1; gen <= 300; ++gen) {
            begin(kStart, 8);
            chunk(kStart, 4, 7, gen << 8);
            chunk(kStart, 0, 3, gen << 8);
            over(kStart);
        }
        stop = true;
    });
    int torn = 0;
    while (!stop) {
        std::vector<int> v = get(kStart);
        for (size_t i = 0; i < v.size(); ++i) {
            torn += v.size() != 8 || v[i] != (v[0] | static_cast<int>(i));
        }
    }
    writer.join();
    EXPECT_EQ(torn, 0);
    EXPECT_EQ(get(kStart).back(), (300 << 8) + 7);
}

}  // namespace
