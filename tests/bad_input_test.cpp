// Bad input of every message kind: truncated payloads, lengths that claim
// more than was delivered, negative counts and out-of-range values. Each must
// print its diagnostic and leave every table as it was: the tables' contents
// (all show commands, the chip-ID allocation, the configuration records, the
// pre-installed state, the log file and the events) are compared before and
// after. The few bad inputs whose handling changes a table on purpose say so.
#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <functional>
#include <thread>

#include "dm_test_env.h"
#include <dm_lib_pd/dm_lib_pd.h>

namespace {

using dmtest::send;
using dmtest::send_bytes;

template <class T>
void append(std::vector<uint8_t> &buf, const T &v)
{
    const auto *b = reinterpret_cast<const uint8_t *>(&v);
    buf.insert(buf.end(), b, b + sizeof v);
}

// A whole data message: header with the given len, then `payload`.
std::vector<uint8_t> message(int msgid, int len, const std::vector<uint8_t> &payload,
                             int module = DP_LIB_MOD_PD)
{
    std::vector<uint8_t> buf;
    append(buf, dp_lib_msg_h_t{0, msgid, module, len});
    buf.insert(buf.end(), payload.begin(), payload.end());
    return buf;
}

template <class T>
std::vector<uint8_t> bytes_of(const T &v)
{
    std::vector<uint8_t> b;
    append(b, v);
    return b;
}

std::string hex(int v)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%x", static_cast<unsigned>(v));
    return text;
}

void send_raw(const std::vector<uint8_t> &buf)
{
    dm_host_send_data(buf.data(), static_cast<int>(buf.size()));
}

// Sends `payload` cut to its first n bytes, with a header that says so.
void send_cut(int msgid, const std::vector<uint8_t> &payload, size_t n)
{
    dm_host_send_msg(msgid, payload.data(), static_cast<int>(n));
}

void send_chipids(int type, int data_num, const std::vector<chipid_slot_t> &recs,
                  int len_adjust = 0)
{
    std::vector<uint8_t> buf;
    append(buf, addr_lib_sync_head_t{static_cast<int32_t>(12 + 48 * recs.size()) + len_adjust, type,
                                     data_num});
    for (const chipid_slot_t &r : recs) {
        append(buf, r);
    }
    dm_host_addr_data(buf.data(), static_cast<int>(buf.size()));
}

chipid_slot_t slot(int status, int gslot, std::vector<int> ids, int per_unit = 1)
{
    chipid_slot_t r = {};
    r.status = status;
    r.gslot = gslot;
    r.idnum_per_unit = static_cast<uint16_t>(per_unit);
    r.id_num = static_cast<uint16_t>(ids.size());
    for (size_t i = 0; i < ids.size() && i < 16; ++i) {
        r.id[i] = static_cast<uint16_t>(ids[i]);
    }
    return r;
}

dp_lib_port_t port(int slot_id, int cport, int lport, int ifx)
{
    dp_lib_port_t p = {};
    p.ifx = ifx;
    p.phyid = dm_phyid_make(1, slot_id, 0, cport);
    p.ss_phyid = dm_slot_lport_phyid(1, slot_id, lport);
    p.node = dm_node_make(1, slot_id);
    p.devid = 1;
    p.slotid = slot_id;
    p.portid = lport;
    p.chip_portid = cport;
    p.g_chipid = 40;
    p.lsm_key = ifx;
    p.lsm_user_slot = slot_id;
    return p;
}

dp_lib_card_type_info_t card(int type)
{
    dp_lib_card_type_info_t c = {};
    c.card_type = type;
    c.port_num = 4;
    c.chip_num = 1;
    c.chip_types[0] = 1;
    std::snprintf(c.name, sizeof c.name, "card%d", type);
    for (int l = 0; l < DP_LIB_CARD_LPORT_MAX; ++l) {
        c.lport_unit[l] = static_cast<int8_t>(l >= 1 && l <= 4 ? 0 : -1);
        c.chip_port[l] = l >= 1 && l <= 4 ? l : -1;
    }
    return c;
}

std::vector<uint8_t> lport_list(int count, int records)
{
    std::vector<uint8_t> payload;
    append(payload, static_cast<int32_t>(count));
    for (int i = 0; i < records; ++i) {
        dp_lib_lport_t r = {};
        r.lport_phyid = dm_lport_phyid_make(0, i + 1);
        r.lport = static_cast<uint8_t>(i + 1);
        append(payload, r);
    }
    return payload;
}

std::vector<uint8_t> fc_chunk(int first, int last, int entries)
{
    std::vector<uint8_t> payload;
    append(payload, dp_lib_fc_cfg_info_t{first, last});
    for (int i = 0; i < entries; ++i) {
        append(payload, dm_convert_cfg_t{dm_slot_lport_phyid(1, 1, 9 + i), PORT_FC});
    }
    return payload;
}

void send_fc(bool save, int num)
{
    send(save ? DP_LIB_MSG_FC_SAVE_CFG_BEGIN : DP_LIB_MSG_FC_START_CFG_BEGIN,
         static_cast<int32_t>(num));
    send_bytes(save ? DP_LIB_MSG_FC_SAVE_CFG : DP_LIB_MSG_FC_START_CFG, fc_chunk(0, num - 1, num));
    dm_host_send_msg(save ? DP_LIB_MSG_FC_SAVE_CFG_OVER : DP_LIB_MSG_FC_START_CFG_OVER, nullptr, 0);
}

// Everything a bad message could change, as text.
std::string fingerprint()
{
    std::string s = dmtest::capture_stdout([] {
        dm_host_show(DP_LIB_DBG_SHOW_ALL_PORT);
        dm_host_show(DP_LIB_DBG_SHOW_MGMT);
    });
    // The lists through their getters: their shows print the copies' addresses.
    for (auto get : {dm_get_fc_startup_cfg, dm_get_fc_save_cfg}) {
        dm_convert_cfg_t *cfg = nullptr;
        int num = 0;
        s += " list " + std::to_string(get(&cfg, &num)) + ":" + std::to_string(num);
        for (int i = 0; i < num; ++i) {
            s += " " + std::to_string(cfg[i].phyid) + "/" + std::to_string(cfg[i].type);
        }
        std::free(cfg);
    }
    std::vector<dm_chipid_alloc_t> alloc(2048);
    int num = 2048;
    dm_get_alloced_chipid(alloc.data(), &num);
    for (int i = 0; i < num; ++i) {
        s += " chip " + std::to_string(alloc[i].chipid) + "@" + std::to_string(alloc[i].node) +
             "/" + std::to_string(alloc[i].unit);
    }
    for (int g = 0; g < 64; ++g) {
        int ids[16];
        int n = 16;
        if (dm_get_chipid_range_by_node(dm_get_phyid_from_gslot(g), ids, &n) == 0) {
            s += " slot " + std::to_string(g) + ":" + std::to_string(n);
        }
    }
    for (int type = 0; type < 16; ++type) {
        dp_lib_card_type_info_t c;
        if (dm_lib_get_card_cfg_by_type(type, &c) == 0) {
            s += " card " + std::string(reinterpret_cast<const char *>(&c), sizeof c);
        }
        s += " chip " + std::to_string(dm_get_chip_family(type)) + "/" +
             std::to_string(dm_get_chip_cmic_port_by_type(type));
    }
    bool pre = false;
    s += " pre " + std::to_string(dm_get_pre_inst_by_phyid(dm_slot_lport_phyid(1, 1, 1), &pre)) +
         std::to_string(pre);
    s += " log " + std::to_string(dm_host_log_count());
    s += " events " + std::to_string(dmtest::events().size());
    return s;
}

// What a message printed (every level on), and the state around it.
struct Outcome {
    std::string printed;
    bool unchanged;
};

void diagnostics_on(bool on)
{
    dm_host_set_dbg_level(on ? LIB_DBG_VERBOSE : LIB_DBG_END);
    dm_host_run_dbg_init(on ? "fcdbg 0" : "fcdbg 4");
}

Outcome run(const std::function<void()> &bad)
{
    const std::string before = fingerprint();
    diagnostics_on(true);
    const std::string printed = dmtest::capture_stdout(bad);
    diagnostics_on(false);
    return {printed, fingerprint() == before};
}

// The bad input prints `diag` and changes nothing.
#define EXPECT_REFUSED(bad, diag)                                   \
    do {                                                            \
        const Outcome o_ = run([&] { bad; });                       \
        EXPECT_NE(o_.printed.find(diag), std::string::npos)         \
            << #bad << " should print " << (diag) << ", printed:\n" \
            << o_.printed;                                          \
        EXPECT_TRUE(o_.unchanged) << #bad << " changed a table";    \
    } while (0)

// A table of every kind filled with something, and the events that caused
// seen, so that "changes nothing" means something.
class BadInput : public testing::Test {
protected:
    void SetUp() override
    {
        dmtest::start_app();
        diagnostics_on(false);
        dm_host_set_my_card(dm_node_make(1, 1), dm_get_gslot_from_lslot(1, 1, 0), 10, DM_TYPE_LC);
        send(DP_LIB_MSG_CARD_CFG, card(10));
        send(DP_LIB_MSG_CHIP_CFG, dp_lib_chip_info_t{1, 3, 255, 0});
        send(DP_LIB_MSG_PORT_INFO, port(1, 1, 1, 0x101));
        send(DP_LIB_MSG_PORT_INFO, port(1, 2, 2, 0x102));
        send_bytes(DP_LIB_MSG_MY_LPORT_CFG, lport_list(3, 3));
        send(DP_LIB_MSG_PHY_MGMT_IFX, dp_lib_phy_mgmt_ifx_msg_t{1, 0x400, 0, 0, {}});
        send_fc(false, 2);
        send_fc(true, 1);
        send_chipids(ADDR_LIB_BS_SYNC, 2,
                     {slot(CHIPID_VALID, 1, {40, 41}), slot(CHIPID_VALID, 2, {50})});
        dm_host_set_bs_over(true);
        dmtest::wait_events(2);
    }

    void TearDown() override
    {
        // Nothing refused raised an event, even late.
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        EXPECT_EQ(dmtest::events().size(), events_expected_);
    }

    size_t events_expected_ = 2;
};

TEST_F(BadInput, HeaderChecksRefuseEveryMalformedMessage)
{
    const std::vector<uint8_t> ifx =
        bytes_of(dp_lib_port_ifx_msg_t{dm_phyid_make(1, 1, 0, 1), 0x555});
    const std::vector<uint8_t> whole = message(DP_LIB_MSG_PORT_IFX, 8, ifx);
    EXPECT_REFUSED(dm_host_send_data(nullptr, 24), "param error!\n");
    EXPECT_REFUSED(send_raw(std::vector<uint8_t>(whole.begin(), whole.begin() + 15)),
                   "param error!\n");
    EXPECT_REFUSED(send_raw(std::vector<uint8_t>(whole.begin(), whole.end() - 1)),
                   "param error!\n");
    EXPECT_REFUSED(send_raw(message(DP_LIB_MSG_PORT_IFX, 9, ifx)), "param error!\n");
    EXPECT_REFUSED(send_raw(message(DP_LIB_MSG_PORT_IFX, -1, ifx)), "param error!\n");
    EXPECT_REFUSED(send_raw(message(DP_LIB_MSG_PORT_IFX, INT_MAX, ifx)), "param error!\n");
    EXPECT_REFUSED(send_raw(message(DP_LIB_MSG_PORT_IFX, 8, ifx, DP_LIB_MOD_PI)), "param error!\n");
    EXPECT_REFUSED(dm_host_send_data(whole.data(), -24), "param error!\n");
    EXPECT_REFUSED(send_raw(message(DP_LIB_PD_MSG_MAX, 8, ifx)), "msg 16 is not support!\n");
    EXPECT_REFUSED(send_raw(message(14, 8, ifx)), "msg 14 is not support!\n");
    EXPECT_REFUSED(send_raw(message(-3, 8, ifx)), "msg -3 is not support!\n");
    // The request-reply message is not a data message.
    EXPECT_REFUSED(send_raw(message(DP_LIB_MSG_PORT_VALID, 8, ifx)), "msg 6 is not support!\n");
}

TEST_F(BadInput, PortMessagesShorterThanTheirRecordOrForUnknownPorts)
{
    const std::vector<uint8_t> rec = bytes_of(port(2, 3, 3, 0x103));
    EXPECT_REFUSED(send_cut(DP_LIB_MSG_PORT_INFO, rec, rec.size() - 1),
                   "msg 0 is too short: len 123, need 124!\n");
    EXPECT_REFUSED(send_cut(DP_LIB_MSG_PORT_INFO, rec, 0),
                   "msg 0 is too short: len 0, need 124!\n");
    const std::vector<uint8_t> ifx =
        bytes_of(dp_lib_port_ifx_msg_t{dm_phyid_make(1, 1, 0, 1), 0x555});
    EXPECT_REFUSED(send_cut(DP_LIB_MSG_PORT_IFX, ifx, 7), "msg 1 is too short: len 7, need 8!\n");
    const int unknown = dm_phyid_make(2, 9, 1, 9);
    EXPECT_REFUSED(send(DP_LIB_MSG_PORT_IFX, dp_lib_port_ifx_msg_t{unknown, 0x555}),
                   "can not find node! phyid : " + hex(unknown) + "\n");
    const std::vector<uint8_t> rmv = bytes_of(static_cast<int32_t>(dm_phyid_make(1, 1, 0, 1)));
    EXPECT_REFUSED(send_cut(DP_LIB_MSG_PORT_RMV, rmv, 3), "msg 2 is too short: len 3, need 4!\n");
    // Removing a port that is not there says nothing more and changes nothing.
    const Outcome o = run([&] { send(DP_LIB_MSG_PORT_RMV, static_cast<int32_t>(unknown)); });
    EXPECT_TRUE(o.unchanged);

    // Bytes beyond a record are not read: the port is stored as sent.
    std::vector<uint8_t> longer = rec;
    longer.resize(rec.size() + 40, 0xEE);
    send_bytes(DP_LIB_MSG_PORT_INFO, longer);
    dm_port_t got;
    ASSERT_EQ(dm_get_pinfo_by_ifx(0x103, &got), 0);
    EXPECT_EQ(got.phyid, dm_slot_lport_phyid(1, 2, 3));
}

TEST_F(BadInput, ConfigurationRecordsShorterThanTheirRecord)
{
    const std::vector<uint8_t> c = bytes_of(card(11));
    EXPECT_REFUSED(send_cut(DP_LIB_MSG_CARD_CFG, c, c.size() - 1),
                   "msg 3 is too short: len 2035, need 2036!\n");
    EXPECT_REFUSED(send_cut(DP_LIB_MSG_CARD_CFG, c, 4), "msg 3 is too short: len 4, need 2036!\n");
    const std::vector<uint8_t> chip = bytes_of(dp_lib_chip_info_t{2, 1, 1, 1});
    EXPECT_REFUSED(send_cut(DP_LIB_MSG_CHIP_CFG, chip, 15),
                   "msg 4 is too short: len 15, need 16!\n");

    // A card type claiming more chips than a record describes is kept, but
    // answered as 8 units, so no caller reads past the 8-entry arrays.
    dp_lib_card_type_info_t many = card(12);
    many.chip_num = 12;
    const Outcome o = run([&] { send(DP_LIB_MSG_CARD_CFG, many); });
    EXPECT_NE(o.printed.find("card type 12 has 12 chips"), std::string::npos) << o.printed;
    int *types = nullptr;
    int num = 0;
    ASSERT_EQ(dm_get_chip_type_by_card_type(12, &types, &num), 0);
    EXPECT_EQ(num, DP_LIB_CARD_UNIT_MAX);
    std::free(types);
}

TEST_F(BadInput, LocalPortListsWithCountsTheirRecordsDoNotHold)
{
    EXPECT_REFUSED(send_bytes(DP_LIB_MSG_MY_LPORT_CFG, lport_list(3, 2)),
                   "msg 5 is too short: len 108, need 160!\n");
    EXPECT_REFUSED(send_bytes(DP_LIB_MSG_MY_LPORT_CFG, lport_list(INT_MAX, 1)),
                   "msg 5 is too short: len 56, need ");
    EXPECT_REFUSED(send_cut(DP_LIB_MSG_MY_LPORT_CFG, lport_list(0, 0), 3),
                   "msg 5 is too short: len 3, need 4!\n");

    // Two records under one key: the first keeps it, the second is stored
    // unindexed.
    std::vector<uint8_t> twice = lport_list(2, 2);
    std::memcpy(twice.data() + 4 + 52, twice.data() + 4, 4);
    Outcome o = run([&] { send_bytes(DP_LIB_MSG_MY_LPORT_CFG, twice); });
    EXPECT_NE(o.printed.find("Insert dm_my_lport_phyid_root fail!\n"), std::string::npos)
        << o.printed;
    EXPECT_EQ(dm_get_my_lport_num(), 2);

    // A negative count is an allocation that cannot be made: the old list is
    // already gone and the table is left empty.
    o = run([&] { send_bytes(DP_LIB_MSG_MY_LPORT_CFG, lport_list(-1, 0)); });
    EXPECT_NE(o.printed.find("Malloc fail!\n"), std::string::npos) << o.printed;
    EXPECT_EQ(dm_get_my_lport_num(), 0);
    dp_lib_lport_t rec;
    EXPECT_EQ(dm_local_get_pinfo_by_lport_phyid(dm_lport_phyid_make(0, 1), &rec), -1);
}

TEST_F(BadInput, ManagementPortsOutsideTheTable)
{
    const std::vector<uint8_t> m = bytes_of(dp_lib_phy_mgmt_ifx_msg_t{2, 0x401, 1, 0, {}});
    EXPECT_REFUSED(send_cut(DP_LIB_MSG_PHY_MGMT_IFX, m, 15),
                   "msg 7 is too short: len 15, need 16!\n");
    for (int dev : {0, 3, -1, INT_MIN}) {
        EXPECT_REFUSED(
            send(DP_LIB_MSG_PHY_MGMT_IFX, dp_lib_phy_mgmt_ifx_msg_t{dev, 0x401, 1, 1, {}}),
            "invalid dev_id: " + std::to_string(dev) + "\r\n");
    }
    for (int lport : {2, -1, INT_MAX}) {
        EXPECT_REFUSED(
            send(DP_LIB_MSG_PHY_MGMT_IFX, dp_lib_phy_mgmt_ifx_msg_t{1, 0x401, lport, 1, {}}),
            "invalid lport:" + std::to_string(lport) + "\r\n");
    }
}

TEST_F(BadInput, PortConversionTransfersOutOfRange)
{
    for (const bool save : {false, true}) {
        SCOPED_TRACE(save ? "saved list" : "startup list");
        const int begin = save ? DP_LIB_MSG_FC_SAVE_CFG_BEGIN : DP_LIB_MSG_FC_START_CFG_BEGIN;
        const int chunk = save ? DP_LIB_MSG_FC_SAVE_CFG : DP_LIB_MSG_FC_START_CFG;
        const std::string begin_fn =
            save ? "dm_fc_lib_save_cfg_begin" : "dm_fc_lib_start_cfg_begin";
        const std::string chunk_fn = save ? "dm_fc_lib_save_cfg" : "dm_fc_lib_start_cfg";
        const std::vector<uint8_t> four = bytes_of(static_cast<int32_t>(4));
        EXPECT_REFUSED(send_cut(begin, four, 3), "is too short: len 3, need 4!\n");
        EXPECT_REFUSED(send(begin, static_cast<int32_t>(-1)), "[FC dm: " + begin_fn);
        EXPECT_REFUSED(send(begin, static_cast<int32_t>(-1)), "] num:-1\r\n");
        EXPECT_REFUSED(send(begin, static_cast<int32_t>(INT_MIN)),
                       "] num:" + std::to_string(INT_MIN) + "\r\n");
        // num x 8 must fit a signed 32-bit size.
        EXPECT_REFUSED(send(begin, static_cast<int32_t>(268435456)),
                       "] num:268435456 too large, max:268435455\r\n");
        // The list is committed: a chunk now belongs to no transfer.
        EXPECT_REFUSED(send_bytes(chunk, fc_chunk(0, 0, 1)),
                       "cfg is over, range[0, 0] dropped until next begin");

        send(begin,
             static_cast<int32_t>(3));  // a new transfer: the list reads empty until its over
        EXPECT_REFUSED(send_bytes(chunk, fc_chunk(0, 1, 1)), "is too short: len 16, need 24!\n");
        EXPECT_REFUSED(send_bytes(chunk, fc_chunk(0, INT_MAX, 1)), "is too short: len 16, need ");
        EXPECT_REFUSED(send_bytes(chunk, fc_chunk(2, 3, 2)), "] invalid range[2, 3], max:3\r\n");
        EXPECT_REFUSED(send_bytes(chunk, fc_chunk(-1, 0, 2)), "] invalid range[-1, 0], max:3\r\n");
        EXPECT_REFUSED(send_bytes(chunk, fc_chunk(2, 1, 0)), "] invalid range[2, 1], max:3\r\n");
        EXPECT_REFUSED(send_cut(chunk, fc_chunk(0, 0, 0), 7), "is too short: len 7, need 8!\n");
        EXPECT_NE(
            run([&] { send_bytes(chunk, fc_chunk(0, 0, 1)); }).printed.find("[FC dm: " + chunk_fn),
            std::string::npos);
    }
}

// The pre-installed list is taken once per process, so each count gets a
// test of its own.
TEST_F(BadInput, PreInstalledListShortOrWithANegativeCount)
{
    dp_lib_per_inst_info_t list = {};
    list.len = -5;
    list.info[0] = {1, 1, 1, 0};
    const std::vector<uint8_t> bytes = bytes_of(list);
    EXPECT_REFUSED(send_cut(DP_LIB_MSG_PORT_PRE_INST_DONE, bytes, 1027),
                   "msg 15 is too short: len 1027, need 1028!\n");
    EXPECT_REFUSED(send_cut(DP_LIB_MSG_PORT_PRE_INST_DONE, bytes, 4),
                   "msg 15 is too short: len 4, need 1028!\n");
    // A negative count is an empty list: taken, announced, matching nothing.
    const Outcome o = run([&] { send(DP_LIB_MSG_PORT_PRE_INST_DONE, list); });
    EXPECT_NE(o.printed.find("pre inst card num -5 invalid, taken as 0\n"), std::string::npos)
        << o.printed;
    events_expected_ = 3;
    dmtest::wait_events(3);
    bool pre = true;
    ASSERT_EQ(dm_get_pre_inst_by_phyid(dm_slot_lport_phyid(1, 1, 1), &pre), 0);
    EXPECT_FALSE(pre);
}

TEST_F(BadInput, PreInstalledListClaimingMoreThanItHolds)
{
    dp_lib_per_inst_info_t list = {};
    list.len = 100000;
    list.info[DP_LIB_PER_INST_MAX - 1] = {1, 1, 1, 0};
    const int lines_before = dm_host_log_count();
    const Outcome o = run([&] { send(DP_LIB_MSG_PORT_PRE_INST_DONE, list); });
    EXPECT_NE(o.printed.find("pre inst card num 100000 invalid, taken as 256\n"), std::string::npos)
        << o.printed;
    events_expected_ = 3;
    dmtest::wait_events(3);
    // Cut to the 256 entries present: the last one counts, nothing beyond.
    bool pre = false;
    ASSERT_EQ(dm_get_pre_inst_by_phyid(dm_slot_lport_phyid(1, 1, 1), &pre), 0);
    EXPECT_TRUE(pre);
    // One log line per entry and one for the notification.
    EXPECT_EQ(dm_host_log_count(), lines_before + DP_LIB_PER_INST_MAX + 1);
}

struct RpcResult {
    std::vector<uint8_t> buf;
    int ack_len;
};

RpcResult rpc(int len, int req_len_adjust = 0)
{
    RpcResult r;
    r.buf = message(DP_LIB_MSG_PORT_VALID, len,
                    bytes_of(dm_port_valid_t{dm_node_make(1, 1), 3, 1, {}}));
    r.buf.resize(r.buf.size() + 128, 0);  // room for a reply
    r.ack_len = -99;
    dm_host_send_rpc(r.buf.data(), 16 + std::max(len, 12) + req_len_adjust, &r.ack_len);
    return r;
}

TEST_F(BadInput, PortValidityRequestsThatCannotBeAnswered)
{
    dmtest::set_rpc_reply(0, {1, 2, 3, 4});
    EXPECT_REFUSED(EXPECT_EQ(rpc(8).ack_len, -99), "msg 6 is too short: len 8, need 12!\n");
    EXPECT_REFUSED(EXPECT_EQ(rpc(-1).ack_len, -99), "param error!\n");
    EXPECT_REFUSED(EXPECT_EQ(rpc(12, -1).ack_len, -99), "param error!\n");
    EXPECT_REFUSED(EXPECT_EQ(rpc(12, -28 + 15).ack_len, -99), "param error!\n");
    EXPECT_REFUSED(dm_host_send_rpc(rpc(12).buf.data(), 28, nullptr), "param error!\n");
    EXPECT_REFUSED(dm_host_send_rpc(nullptr, 28, nullptr), "param error!\n");

    // An application reply longer than the room it was given is refused, not
    // copied: the requester gets -1 alone.
    dmtest::set_rpc_reply(0, std::vector<uint8_t>(125, 7));
    RpcResult r;
    EXPECT_REFUSED(r = rpc(12), "rpc reply length 125 out of range!\n");
    ASSERT_EQ(r.ack_len, 4);
    int32_t result;
    std::memcpy(&result, r.buf.data(), sizeof result);
    EXPECT_EQ(result, -1);
    // A reply that fits the library's room but not the requester's buffer.
    dmtest::set_rpc_reply(0, std::vector<uint8_t>(60, 7));
    EXPECT_REFUSED(r = rpc(12), "reply of 64 bytes does not fit the request buffer of 28!\n");
    EXPECT_EQ(r.ack_len, 4);
}

TEST_F(BadInput, ChipIdDataOfEveryMalformedShape)
{
    const chipid_slot_t ok = slot(CHIPID_VALID, 3, {60, 61});
    EXPECT_REFUSED(dm_host_addr_data(nullptr, 60), "input arguments error, data_len=60\r\n");
    EXPECT_REFUSED(dm_host_addr_data(&ok, -1), "input arguments error, data_len=-1\r\n");
    EXPECT_REFUSED(dm_host_addr_data(&ok, 8), "addr data len error, rcv_len=8 head_len=12\r\n");
    EXPECT_REFUSED(send_chipids(ADDR_LIB_REAL_SYNC, 1, {ok}, 4),
                   "addr data len error, rcv_len=60 sync_len=64\r\n");
    EXPECT_REFUSED(send_chipids(ADDR_LIB_DCM_READY_NOTIFY, 1, {ok}),
                   "addr data type error, type=2 sync_len=60\r\n");
    EXPECT_REFUSED(send_chipids(-1, 1, {ok}), "addr data type error, type=-1 sync_len=60\r\n");
    EXPECT_REFUSED(send_chipids(ADDR_LIB_BS_SYNC, 65, {ok}), "addr bs data number[65] error\r\n");
    EXPECT_REFUSED(send_chipids(ADDR_LIB_BS_SYNC, -1, {ok}), "addr bs data number[-1] error\r\n");
    EXPECT_REFUSED(send_chipids(ADDR_LIB_REAL_SYNC, 2, {ok, ok}),
                   "addr real data number[2] error\r\n");
    EXPECT_REFUSED(send_chipids(ADDR_LIB_REAL_SYNC, 0, {}), "addr real data number[0] error\r\n");
    // Records the header counts but the data does not hold.
    EXPECT_REFUSED(send_chipids(ADDR_LIB_BS_SYNC, 2, {ok}),
                   "addr data len error, sync_len=60 data_num=2\r\n");
    EXPECT_REFUSED(send_chipids(ADDR_LIB_BS_SYNC, 64, {}),
                   "addr data len error, sync_len=12 data_num=64\r\n");
    // Records out of range, each refused whole.
    EXPECT_REFUSED(send_chipids(ADDR_LIB_REAL_SYNC, 1, {slot(CHIPID_VALID, 64, {60})}),
                   "chipid info eror, gslot=0x000040\r\n");
    EXPECT_REFUSED(send_chipids(ADDR_LIB_REAL_SYNC, 1, {slot(CHIPID_VALID, -1, {60})}),
                   "chipid info eror, gslot=0xffffffff\r\n");
    chipid_slot_t too_many = slot(CHIPID_VALID, 3, {60});
    too_many.id_num = 17;
    EXPECT_REFUSED(send_chipids(ADDR_LIB_REAL_SYNC, 1, {too_many}),
                   "idnum_per_unit=1, id_num=17\r\n");
    EXPECT_REFUSED(send_chipids(ADDR_LIB_REAL_SYNC, 1, {slot(CHIPID_VALID, 3, {60}, 0)}),
                   "idnum_per_unit=0, id_num=1\r\n");
    EXPECT_REFUSED(send_chipids(ADDR_LIB_REAL_SYNC, 1, {slot(CHIPID_VALID, 3, {60}, 2)}),
                   "idnum_per_unit=2, id_num=1\r\n");
    EXPECT_REFUSED(send_chipids(ADDR_LIB_REAL_SYNC, 1, {slot(CHIPID_VALID, 3, {})}),
                   "idnum_per_unit=1, id_num=0\r\n");
    // A chip ID beyond the 2048 the allocation table holds refuses its record.
    EXPECT_REFUSED(send_chipids(ADDR_LIB_REAL_SYNC, 1, {slot(CHIPID_VALID, 3, {60, 2048})}),
                   "chipid=2048\r\n");
    EXPECT_REFUSED(send_chipids(ADDR_LIB_REAL_SYNC, 1, {slot(CHIPID_VALID, 1, {40, 65535})}),
                   "chipid=65535\r\n");
    EXPECT_REFUSED(send_chipids(ADDR_LIB_REAL_SYNC, 1, {slot(CHIPID_LIMIT, 1, {40})}),
                   ">>>>gslot status[2] error\r\n");
    EXPECT_REFUSED(send_chipids(ADDR_LIB_REAL_SYNC, 1, {slot(-7, 1, {40})}),
                   ">>>>gslot status[-7] error\r\n");
    // In batch data a bad record is skipped and the others are applied.
    const Outcome o = run([&] {
        send_chipids(ADDR_LIB_BS_SYNC, 2,
                     {slot(CHIPID_VALID, 70, {60}), slot(CHIPID_VALID, 3, {62})});
    });
    EXPECT_FALSE(o.unchanged);
    int node = 0;
    int unit = 0;
    EXPECT_EQ(dm_get_node_unit_from_chipid(62, &node, &unit), 0);
    EXPECT_EQ(dm_get_node_unit_from_chipid(60, &node, &unit), -3);
}

TEST_F(BadInput, DebugOptionsShowsAndBatchFlagsTheLibraryDoesNotKnow)
{
    for (const char *option : {"FCDBG 1", "fcdbg1", "fcdbg", " fcdbg 1", "", "fc dbg 1"}) {
        const Outcome o = run([&] { dm_host_run_dbg_init(option); });
        EXPECT_TRUE(o.printed.empty()) << option;
        EXPECT_TRUE(o.unchanged) << option;
    }
    EXPECT_TRUE(run([] { dm_host_run_dbg_init(nullptr); }).unchanged);
    // The port-conversion level is still the one set (4): show 12 moves it on to 0.
    EXPECT_NE(dmtest::capture_stdout([] {
                  dm_host_show(DP_LIB_FC_DBG_LEVEL);
              }).find("dm_fc_lib_dbg=0\r\n"),
              std::string::npos);
    for (int para : {13, 0, -1, static_cast<int>(DP_LIB_SHOW_PARAM_MAX), INT_MAX}) {
        const Outcome o = run([&] { dm_host_show(para); });
        EXPECT_NE(o.printed.find("recv para: " + std::to_string(para) + "\r\n"), std::string::npos);
        EXPECT_EQ(o.printed.find('\n'), o.printed.size() - 1)
            << "only the recv line: " << o.printed;
        EXPECT_TRUE(o.unchanged) << para;
    }
    dm_host_batch_steps_clear();
    for (int flag : {static_cast<int>(SYNC_BATCH_BEGIN), 2, -1}) {
        EXPECT_TRUE(run([&] { dm_host_batch(flag); }).unchanged) << flag;
    }
    EXPECT_EQ(dm_host_batch_steps(nullptr, 0), 0);
}

}  // namespace
