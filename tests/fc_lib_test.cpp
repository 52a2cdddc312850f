// The startup and saved port-conversion lists as the data-plane master sends
// them and the application reads them: transfers, events 1026 and 1027, log
// lines, the copying getters, the show commands and the "fcdbg " level.
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "dm_test_env.h"
#include <dm_lib_pd/dm_fc.h>

namespace {

struct List {
    int begin, chunk, over;
    int (*get)(dm_convert_cfg_t **, int *);
};
const List kStart = {DP_LIB_MSG_FC_START_CFG_BEGIN, DP_LIB_MSG_FC_START_CFG,
                     DP_LIB_MSG_FC_START_CFG_OVER, dm_get_fc_startup_cfg};
const List kSave = {DP_LIB_MSG_FC_SAVE_CFG_BEGIN, DP_LIB_MSG_FC_SAVE_CFG, DP_LIB_MSG_FC_SAVE_CFG_OVER,
                    dm_get_fc_save_cfg};

void begin(const List &l, int32_t num) { dmtest::send(l.begin, num); }
void over(const List &l) { dm_host_send_msg(l.over, "", 0); }

// A chunk of entries min..max, entry i being {phyid_base + i, type}; `cut`
// bytes are left off its end.
void chunk(const List &l, int min, int max, int phyid_base = 0x06010300, int type = PORT_FC, size_t cut = 0)
{
    dp_lib_fc_cfg_info_t h = {min, max};
    std::vector<uint8_t> buf(sizeof h);
    std::memcpy(buf.data(), &h, sizeof h);
    for (int i = min; i <= max; ++i) {
        dm_convert_cfg_t e = {phyid_base + i, type};
        const uint8_t *p = reinterpret_cast<const uint8_t *>(&e);
        buf.insert(buf.end(), p, p + sizeof e);
    }
    buf.erase(buf.end() - static_cast<long>(cut), buf.end());
    dmtest::send_bytes(l.chunk, buf);
}

// A chunk head announcing min..max with one entry behind it.
void send_head_only(const List &l, int min, int max)
{
    const int32_t words[4] = {min, max, 0x500, PORT_FC};
    dm_host_send_msg(l.chunk, words, sizeof words);
}

std::vector<dm_convert_cfg_t> get(const List &l)
{
    dm_convert_cfg_t *cfg = nullptr;
    int num = -1;
    EXPECT_EQ(l.get(&cfg, &num), 0);
    std::vector<dm_convert_cfg_t> out(cfg, cfg + num);
    EXPECT_EQ(cfg == nullptr, num == 0);
    std::free(cfg);
    return out;
}

std::vector<int> phyids(const std::vector<dm_convert_cfg_t> &v)
{
    std::vector<int> out;
    for (const dm_convert_cfg_t &e : v) {
        out.push_back(e.phyid);
    }
    return out;
}

std::vector<int> event_ids(const std::vector<dmtest::Event> &ev)
{
    std::vector<int> out;
    for (const dmtest::Event &e : ev) {
        out.push_back(e.msg_id);
        EXPECT_TRUE(e.data.empty());
    }
    return out;
}

TEST(FcLib, TransfersCommitAtOverAndAnnounceIt)
{
    dmtest::start_app();
    EXPECT_TRUE(get(kStart).empty());  // nothing committed yet
    begin(kStart, 3);
    chunk(kStart, 2, 2);
    chunk(kStart, 0, 1);
    EXPECT_TRUE(get(kStart).empty());  // staged, not committed
    over(kStart);
    std::vector<dm_convert_cfg_t> got = get(kStart);
    EXPECT_EQ(phyids(got), (std::vector<int>{0x06010300, 0x06010301, 0x06010302}));
    EXPECT_EQ(got[1].type, PORT_FC);

    // The saved list is independent; an unwritten entry stays {0, 0}.
    begin(kSave, 3);
    chunk(kSave, 0, 0, 0x06020500, PORT_TGIGABIT_ETHERNET);
    over(kSave);
    got = get(kSave);
    EXPECT_EQ(phyids(got), (std::vector<int>{0x06020500, 0, 0}));
    EXPECT_EQ(got[2].type, 0);
    EXPECT_EQ(get(kStart).size(), 3u);

    // A new begin empties the list until its over; an empty transfer still
    // commits and announces; an over without a begin announces again.
    begin(kStart, 2);
    EXPECT_TRUE(get(kStart).empty());
    begin(kStart, 0);
    over(kStart);
    EXPECT_TRUE(get(kStart).empty());
    over(kSave);
    EXPECT_EQ(get(kSave).size(), 3u);

    EXPECT_EQ(event_ids(dmtest::wait_events(4)),
              (std::vector<int>{DEV_MSG_FC_START_CFG_OVER, DEV_MSG_FC_SAVE_CFG, DEV_MSG_FC_START_CFG_OVER,
                                DEV_MSG_FC_SAVE_CFG}));
    std::vector<std::string> want = {"fc startup cfg sync over", "fc save cfg sync over",
                                     "fc startup cfg sync over", "fc save cfg sync over"};
    std::vector<std::string> logged;
    for (const std::string &line : dmtest::log_lines()) {
        if (line.find("cfg sync over") != std::string::npos) {
            logged.push_back(line.substr(line.find(">:") + 2));
        }
    }
    EXPECT_EQ(logged, want);

    dm_convert_cfg_t *cfg = nullptr;
    EXPECT_EQ(dm_get_fc_startup_cfg(&cfg, nullptr), -1);
    EXPECT_EQ(dm_get_fc_save_cfg(nullptr, nullptr), -1);
}

TEST(FcLib, BadTransfersAreRefused)
{
    dm_host_run_dbg_init("fcdbg 2");
    begin(kStart, 2);
    chunk(kStart, 0, 1, 0x100);
    over(kStart);
    std::string out = dmtest::capture_stdout([] {
        begin(kStart, -1);         // refused: the committed list stays
        begin(kStart, 268435456);  // too large for its size in bytes
        chunk(kStart, 0, 0, 0x200);  // after the over, before a begin
    });
    EXPECT_NE(out.find("num:-1\r\n"), std::string::npos) << out;
    EXPECT_NE(out.find("num:268435456 too large"), std::string::npos) << out;
    EXPECT_NE(out.find("range[0, 0] dropped until next begin"), std::string::npos) << out;
    EXPECT_EQ(phyids(get(kStart)), (std::vector<int>{0x100, 0x101}));

    out = dmtest::capture_stdout([] {
        begin(kStart, 2);
        chunk(kStart, 1, 2, 0x300);                       // beyond the announced count
        chunk(kStart, 1, 0, 0x300);                       // reversed: only the head is needed
        chunk(kStart, 0, 1, 0x300, PORT_FC, 4);           // shorter than its range: the dispatcher refuses
        send_head_only(kStart, 0, 0x7FFFFFFF);            // announces far more than it holds
        chunk(kStart, 1, 1, 0x400);
        over(kStart);
    });
    EXPECT_NE(out.find("[FC "), std::string::npos) << out;
    EXPECT_NE(out.find("invalid range[1, 2], max:2\r\n"), std::string::npos) << out;
    EXPECT_NE(out.find("invalid range[1, 0], max:2\r\n"), std::string::npos) << out;
    EXPECT_EQ(out.find("enter\r\n"), std::string::npos) << out;  // level 2 hides verbose
    EXPECT_EQ(phyids(get(kStart)), (std::vector<int>{0, 0x401}));
}

TEST(FcLib, ShowsAndDebugLevel)
{
    dm_host_set_dbg_level(LIB_DBG_END);
    begin(kSave, 2);
    chunk(kSave, 0, 1, 0x06010305, PORT_FC);
    over(kSave);
    std::string out = dmtest::capture_stdout([] { dm_host_show(DP_LIB_DBG_SHOW_FC_SAVE_CFG); });
    const size_t table = out.find("\r\n") + 2;
    EXPECT_EQ(out.rfind("dm_get_fc_save_cfg succ. num:2, cfg:0x", 0), 0u) << out;
    EXPECT_EQ(out.substr(table), "          phyid  type\r\n      0x6010305     7\r\n      0x6010306     7\r\n");
    out = dmtest::capture_stdout([] { dm_host_show(DP_LIB_DBG_SHOW_FC_START_CFG); });
    EXPECT_EQ(out, "dm_get_fc_startup_cfg succ. num:0, cfg:(nil)\r\n");

    // Level 4 silences everything; show 12 cycles 4, 0, 1, ...
    out = dmtest::capture_stdout([] { get(kSave); });
    EXPECT_EQ(out, "");
    out = dmtest::capture_stdout([] { dm_host_show(DP_LIB_FC_DBG_LEVEL); });
    EXPECT_EQ(out, "dm_fc_lib_dbg=0\r\n");
    out = dmtest::capture_stdout([] { get(kSave); });
    EXPECT_NE(out.find(": dm_get_fc_save_cfg, "), std::string::npos) << out;
    EXPECT_NE(out.find("] get save cfg succ. fc_convert_save_num:2\r\n"), std::string::npos) << out;
    dm_host_run_dbg_init("fcdbg 3");
    out = dmtest::capture_stdout([] { dm_host_show(DP_LIB_FC_DBG_LEVEL); });
    EXPECT_EQ(out, "dm_fc_lib_dbg=4\r\n");
    dm_host_run_dbg_init("fcdbg 1");
    out = dmtest::capture_stdout([] { get(kStart); });
    EXPECT_NE(out.find("fc_convert_start_num:0, fc_start_cfg:(nil)\r\n"), std::string::npos) << out;
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
        std::vector<dm_convert_cfg_t> v = get(kStart);
        if (v.empty()) {
            continue;
        }
        for (size_t i = 0; i < v.size(); ++i) {
            torn += v.size() != 8 || (v[i].phyid & 0xFF) != static_cast<int>(i) ||
                    (v[i].phyid >> 8) != (v[0].phyid >> 8);
        }
    }
    writer.join();
    EXPECT_EQ(torn, 0);
    EXPECT_EQ(get(kStart)[7].phyid, (300 << 8) + 7);
}

}  // namespace
