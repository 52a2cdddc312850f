// Bad input of every message kind: truncated payloads, lengths that claim
// more than was delivered, negative counts and out-of-range values. Each must
// print its diagnostic and leave every table as it was: the tables' contents
// (the show commands, the chip-ID allocation, the configuration records, the
// pre-installed state, the log file and the events) are compared before and
// after. The few bad inputs whose handling changes a table on purpose say so.
#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <cstddef>
#include <functional>
#include <thread>

#include "dm_test_env.h"
#include <dm_lib_pd/dm_lib_pd.h>

namespace {

using bytes = std::vector<uint8_t>;
using dmtest::send;

using dmstandin::bytes_of;

bytes operator+(bytes a, const bytes &b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

bytes cut(const bytes &b, size_t n) { return bytes(b.begin(), b.begin() + n); }

// A whole message: header with the given len, then `payload`.
bytes message(int msgid, int len, const bytes &payload, int module = DP_LIB_MOD_PD)
{
    bytes b = dmstandin::dp_message(msgid, module, payload);
    std::memcpy(b.data() + offsetof(dp_lib_msg_h_t, len), &len, sizeof len);
    return b;
}
// Chip-ID data: a header whose length is what the records take plus
// `len_adjust`, claiming `data_num` records.
bytes chipids(int type, int data_num, const std::vector<chipid_slot_t> &recs, int len_adjust = 0)
{
    bytes b = dmstandin::addr_sync(type, recs);
    const addr_lib_sync_head_t head = {static_cast<int32_t>(b.size()) + len_adjust, type, data_num};
    std::memcpy(b.data(), &head, sizeof head);
    return b;
}

chipid_slot_t slot(int status, int gslot, std::vector<int> ids, int per_unit = 1)
{
    chipid_slot_t r = dmstandin::chipid_slot(gslot, ids, per_unit);
    r.status = status;
    return r;
}

dp_lib_port_t port(int slot_id, int cport, int lport, int ifx)
{
    dp_lib_port_t p = dmtest::port_record(1, slot_id, 0, cport, lport);
    p.ifx = ifx;
    p.g_chipid = 40;
    p.lsm_key = ifx;
    p.lsm_user_slot = slot_id;
    return p;
}

dp_lib_card_type_info_t card(int type)
{
    dp_lib_card_type_info_t c = dmstandin::card_type_record(type);
    c.port_num = 4;
    c.chip_num = 1;
    c.chip_types[0] = 1;
    std::snprintf(c.name, sizeof c.name, "card%d", type);
    for (int l = 1; l <= 4; ++l) {
        c.lport_unit[l] = 0;
        c.chip_port[l] = l;
    }
    return c;
}

// A local port list announcing `count` records and holding `records`.
bytes lport_list(int count, int records)
{
    std::vector<dp_lib_lport_t> recs(static_cast<size_t>(records));
    for (int i = 0; i < records; ++i) {
        recs[i].lport_phyid = dm_lport_phyid_make(0, i + 1);
        recs[i].lport = static_cast<uint8_t>(i + 1);
    }
    return dmstandin::lport_payload(recs, count);
}

bytes fc_chunk(int first, int last, int entries)
{
    std::vector<dm_convert_cfg_t> e;
    for (int i = 0; i < entries; ++i) {
        e.push_back({dm_slot_lport_phyid(1, 1, 9 + i), PORT_FC});
    }
    return dmstandin::fc_chunk(first, last, e);
}

// The saved list's messages follow the startup list's, three identifiers on.
int fc_msg(bool save, int start_msg) { return start_msg + (save ? 3 : 0); }

void send_fc(bool save, int num)
{
    send(fc_msg(save, DP_LIB_MSG_FC_START_CFG_BEGIN), static_cast<int32_t>(num));
    dmtest::send_bytes(fc_msg(save, DP_LIB_MSG_FC_START_CFG), fc_chunk(0, num - 1, num));
    dm_host_send_msg(fc_msg(save, DP_LIB_MSG_FC_START_CFG_OVER), nullptr, 0);
}

// Everything a bad message could change, as text.
std::string snapshot()
{
    std::string s = dmtest::capture_stdout([] {
        dm_host_show(DP_LIB_DBG_SHOW_ALL_PORT);
        dm_host_show(DP_LIB_DBG_SHOW_MGMT);
    });
    // The lists through their getters: their shows print the copies' addresses.
    for (auto get : {dm_get_fc_startup_cfg, dm_get_fc_save_cfg}) {
        dm_convert_cfg_t *cfg = nullptr;
        int num = 0;
        // Each piece is appended on its own: "literal" + std::string trips a
        // false -Wrestrict in GCC 12's std::string at -O2.
        s += " list ";
        s += std::to_string(get(&cfg, &num)) + ":" + std::to_string(num);
        for (int i = 0; i < num; ++i) {
            s += ' ';
            s += std::to_string(cfg[i].phyid) + "/" + std::to_string(cfg[i].type);
        }
        std::free(cfg);
    }
    std::vector<dm_chipid_alloc_t> alloc(2048);
    int num = 2048;
    dm_get_alloced_chipid(alloc.data(), &num);
    for (int i = 0; i < num; ++i) {
        s += " chip ";
        s += std::to_string(alloc[i].chipid) + "@" + std::to_string(alloc[i].node) + "/" +
             std::to_string(alloc[i].unit);
    }
    for (int type = 0; type < 16; ++type) {
        dp_lib_card_type_info_t c;
        if (dm_lib_get_card_cfg_by_type(type, &c) == 0) {
            s += " card ";
            s.append(reinterpret_cast<const char *>(&c), sizeof c);
        }
        s += " chip ";
        s += std::to_string(dm_get_chip_family(type)) + "/" +
             std::to_string(dm_get_chip_cmic_port_by_type(type));
    }
    bool pre = false;
    s += " pre ";
    s += std::to_string(dm_get_pre_inst_by_phyid(dm_slot_lport_phyid(1, 1, 1), &pre)) +
         std::to_string(pre);
    s += " log ";
    s += std::to_string(dm_host_log_count());
    s += " events ";
    return s + std::to_string(dmtest::events().size());
}

// What an input printed with every diagnostic on, and whether it left the
// tables as they were.
struct Outcome {
    std::string printed;
    bool unchanged;
};

void diagnostics_on(bool on)
{
    dm_host_set_dbg_level(on ? LIB_DBG_VERBOSE : LIB_DBG_END);
    dm_host_run_dbg_init(on ? "fcdbg 0" : "fcdbg 4");
}

Outcome run(const std::function<void()> &input)
{
    const std::string before = snapshot();
    diagnostics_on(true);
    const std::string printed = dmtest::capture_stdout(input);
    diagnostics_on(false);
    return {printed, snapshot() == before};
}

// The input prints `diag` and changes nothing.
void expect_refused(const std::function<void()> &input, const std::string &diag)
{
    const Outcome o = run(input);
    EXPECT_NE(o.printed.find(diag), std::string::npos) << "should print " << diag << ", printed:\n"
                                                       << o.printed;
    EXPECT_TRUE(o.unchanged) << "changed a table";
}

// Where a bad message comes in: the data channel, the address manager's
// chip-ID data, or a port-validity request (which must stay unanswered).
enum Channel { kData, kChipIds, kRpc };

struct BadMessage {
    Channel channel;
    bytes msg;
    std::string diag;  // empty: the message says nothing more, and changes nothing
};

void deliver(const BadMessage &m)
{
    const int size = static_cast<int>(m.msg.size());
    if (m.channel == kData) {
        dm_host_send_data(m.msg.data(), size);
    } else if (m.channel == kChipIds) {
        dm_host_addr_data(m.msg.data(), size);
    } else {
        bytes buf = m.msg;
        buf.resize(buf.size() + 128);  // room for a reply
        int ack_len = -99;
        dm_host_send_rpc(buf.data(), size, &ack_len);
        EXPECT_EQ(ack_len, -99) << "a bad request was answered";
    }
}

void expect_all_refused(const std::vector<BadMessage> &table)
{
    for (size_t i = 0; i < table.size(); ++i) {
        SCOPED_TRACE("row " + std::to_string(i) + ": " + table[i].diag);
        expect_refused([&] { deliver(table[i]); }, table[i].diag);
    }
}

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
        dmtest::send_bytes(DP_LIB_MSG_MY_LPORT_CFG, lport_list(3, 3));
        send(DP_LIB_MSG_PHY_MGMT_IFX, dp_lib_phy_mgmt_ifx_msg_t{1, 0x400, 0, 0, {}});
        send_fc(false, 2);
        send_fc(true, 1);
        const bytes sync = chipids(ADDR_LIB_BS_SYNC, 2,
                                   {slot(CHIPID_VALID, 1, {40, 41}), slot(CHIPID_VALID, 2, {50})});
        dm_host_addr_data(sync.data(), static_cast<int>(sync.size()));
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

// Rows of the table, by the channel the message comes in on.
BadMessage raw(bytes msg, std::string diag) { return {kData, std::move(msg), std::move(diag)}; }
BadMessage msg(int msgid, const bytes &payload, std::string diag)
{
    return {kData, message(msgid, static_cast<int>(payload.size()), payload), std::move(diag)};
}
BadMessage addr(bytes msg, std::string diag) { return {kChipIds, std::move(msg), std::move(diag)}; }
BadMessage rpc(bytes msg, std::string diag) { return {kRpc, std::move(msg), std::move(diag)}; }
// Real-time chip-ID data of one record.
bytes real(const chipid_slot_t &rec) { return chipids(ADDR_LIB_REAL_SYNC, 1, {rec}); }

TEST_F(BadInput, EveryMalformedMessageIsRefusedWithItsDiagnostic)
{
    const bytes ifx = bytes_of(dp_lib_port_ifx_msg_t{dm_phyid_make(1, 1, 0, 1), 0x555});
    const bytes whole = message(DP_LIB_MSG_PORT_IFX, 8, ifx);
    const bytes rec = bytes_of(port(2, 3, 3, 0x103));
    const int unknown = dm_phyid_make(2, 9, 1, 9);
    const bytes crd = bytes_of(card(11));
    dp_lib_per_inst_info_t pre = {};
    pre.len = -5;
    const bytes request = bytes_of(dm_port_valid_t{dm_node_make(1, 1), 3, 1, {}});
    const bytes valid = message(DP_LIB_MSG_PORT_VALID, 12, request);
    const chipid_slot_t ok = slot(CHIPID_VALID, 3, {60, 61});
    chipid_slot_t too_many = slot(CHIPID_VALID, 3, {60});
    too_many.id_num = 17;
    const std::string param = "param error!\n";
    std::vector<BadMessage> table = {
        // The header: lengths that disagree with what was delivered, another
        // module, identifiers no data message has (6 is the request-reply one).
        raw(cut(whole, 15), param),
        raw(cut(whole, whole.size() - 1), param),
        raw(message(DP_LIB_MSG_PORT_IFX, 9, ifx), param),
        raw(message(DP_LIB_MSG_PORT_IFX, -1, ifx), param),
        raw(message(DP_LIB_MSG_PORT_IFX, INT_MAX, ifx), param),
        raw(message(DP_LIB_MSG_PORT_IFX, 8, ifx, DP_LIB_MOD_PI), param),
        raw(message(DP_LIB_PD_MSG_MAX, 8, ifx), "msg 16 is not support!\n"),
        raw(message(14, 8, ifx), "msg 14 is not support!\n"),
        raw(message(-3, 8, ifx), "msg -3 is not support!\n"),
        raw(message(DP_LIB_MSG_PORT_VALID, 8, ifx), "msg 6 is not support!\n"),
        // Payloads shorter than their record, or naming what is not there.
        msg(DP_LIB_MSG_PORT_INFO, cut(rec, 123), "msg 0 is too short: len 123, need 124!\n"),
        msg(DP_LIB_MSG_PORT_INFO, {}, "msg 0 is too short: len 0, need 124!\n"),
        msg(DP_LIB_MSG_PORT_IFX, cut(ifx, 7), "msg 1 is too short: len 7, need 8!\n"),
        msg(DP_LIB_MSG_PORT_IFX, bytes_of(dp_lib_port_ifx_msg_t{unknown, 0x555}),
            "can not find node! phyid : 0x2009209\n"),
        msg(DP_LIB_MSG_PORT_RMV, cut(bytes_of(unknown), 3), "msg 2 is too short: len 3, need 4!\n"),
        msg(DP_LIB_MSG_PORT_RMV, bytes_of(unknown), ""),
        msg(DP_LIB_MSG_CARD_CFG, cut(crd, 2035), "msg 3 is too short: len 2035, need 2036!\n"),
        msg(DP_LIB_MSG_CHIP_CFG, bytes(15), "msg 4 is too short: len 15, need 16!\n"),
        msg(DP_LIB_MSG_MY_LPORT_CFG, lport_list(3, 2), "msg 5 is too short: len 108, need 160!\n"),
        msg(DP_LIB_MSG_MY_LPORT_CFG, lport_list(INT_MAX, 1), "msg 5 is too short: len 56, need "),
        msg(DP_LIB_MSG_MY_LPORT_CFG, bytes(3), "msg 5 is too short: len 3, need 4!\n"),
        msg(DP_LIB_MSG_PHY_MGMT_IFX, bytes(15), "msg 7 is too short: len 15, need 16!\n"),
        msg(DP_LIB_MSG_PORT_PRE_INST_DONE, cut(bytes_of(pre), 1027),
            "msg 15 is too short: len 1027, need 1028!\n"),
        msg(DP_LIB_MSG_PORT_PRE_INST_DONE, cut(bytes_of(pre), 4),
            "msg 15 is too short: len 4, need 1028!\n"),
        // Port-validity requests: short, or lengths that disagree.
        rpc(message(DP_LIB_MSG_PORT_VALID, 11, request), "msg 6 is too short: len 11, need 12!\n"),
        rpc(message(DP_LIB_MSG_PORT_VALID, -1, request), param),
        rpc(cut(valid, 27), param),
        rpc(cut(valid, 15), param),
        // Chip-ID data: lengths, types and counts the header gets wrong.
        addr(cut(real(ok), 8), "addr data len error, rcv_len=8 head_len=12\r\n"),
        addr(chipids(ADDR_LIB_REAL_SYNC, 1, {ok}, 4),
             "addr data len error, rcv_len=60 sync_len=64\r\n"),
        addr(chipids(ADDR_LIB_DCM_READY_NOTIFY, 1, {ok}),
             "addr data type error, type=2 sync_len=60\r\n"),
        addr(chipids(-1, 1, {ok}), "addr data type error, type=-1 sync_len=60\r\n"),
        addr(chipids(ADDR_LIB_BS_SYNC, 65, {ok}), "addr bs data number[65] error\r\n"),
        addr(chipids(ADDR_LIB_BS_SYNC, -1, {ok}), "addr bs data number[-1] error\r\n"),
        addr(chipids(ADDR_LIB_REAL_SYNC, 2, {ok, ok}), "addr real data number[2] error\r\n"),
        addr(chipids(ADDR_LIB_REAL_SYNC, 0, {}), "addr real data number[0] error\r\n"),
        addr(cut(chipids(ADDR_LIB_BS_SYNC, 1, {ok}, -1), 59),
             "addr data len error, sync_len=59 data_num=1\r\n"),
        addr(chipids(ADDR_LIB_BS_SYNC, 64, {}), "addr data len error, sync_len=12 data_num=64\r\n"),
        // Chip-ID records out of range, each refused whole.
        addr(real(slot(CHIPID_VALID, 64, {60})), "chipid info eror, gslot=0x000040\r\n"),
        addr(real(slot(CHIPID_VALID, -1, {60})), "chipid info eror, gslot=0xffffffff\r\n"),
        addr(real(too_many), "idnum_per_unit=1, id_num=17\r\n"),
        addr(real(slot(CHIPID_VALID, 3, {60}, 0)), "idnum_per_unit=0, id_num=1\r\n"),
        addr(real(slot(CHIPID_VALID, 3, {60}, 2)), "idnum_per_unit=2, id_num=1\r\n"),
        addr(real(slot(CHIPID_VALID, 3, {})), "idnum_per_unit=1, id_num=0\r\n"),
        addr(real(slot(CHIPID_VALID, 3, {60, 2048})), "chipid=2048\r\n"),
        addr(real(slot(CHIPID_VALID, 1, {40, 65535})), "chipid=65535\r\n"),
        addr(real(slot(CHIPID_LIMIT, 1, {40})), ">>>>gslot status[2] error\r\n"),
        addr(real(slot(-7, 1, {40})), ">>>>gslot status[-7] error\r\n"),
    };
    // Management ports outside the table.
    for (int dev : {0, 3, -1, INT_MIN}) {
        table.push_back(msg(DP_LIB_MSG_PHY_MGMT_IFX,
                            bytes_of(dp_lib_phy_mgmt_ifx_msg_t{dev, 0x401, 1, 1, {}}),
                            "invalid dev_id: " + std::to_string(dev) + "\r\n"));
    }
    for (int lport : {2, -1, INT_MAX}) {
        table.push_back(msg(DP_LIB_MSG_PHY_MGMT_IFX,
                            bytes_of(dp_lib_phy_mgmt_ifx_msg_t{1, 0x401, lport, 1, {}}),
                            "invalid lport:" + std::to_string(lport) + "\r\n"));
    }
    // Port-conversion begins out of range (num x 8 must fit a signed 32-bit
    // size), and a chunk while the list is committed.
    for (const bool save : {false, true}) {
        const int begin = fc_msg(save, DP_LIB_MSG_FC_START_CFG_BEGIN);
        const std::string fn = save ? "dm_fc_lib_save_cfg_begin" : "dm_fc_lib_start_cfg_begin";
        table.push_back(msg(begin, bytes(3), "is too short: len 3, need 4!\n"));
        table.push_back(msg(begin, bytes_of(-1), "[FC dm: " + fn));
        table.push_back(msg(begin, bytes_of(-1), "] num:-1\r\n"));
        table.push_back(msg(begin, bytes_of(INT_MIN), "] num:" + std::to_string(INT_MIN) + "\r\n"));
        table.push_back(
            msg(begin, bytes_of(268435456), "] num:268435456 too large, max:268435455\r\n"));
        table.push_back(msg(fc_msg(save, DP_LIB_MSG_FC_START_CFG), fc_chunk(0, 0, 1),
                            "cfg is over, range[0, 0] dropped until next begin"));
    }
    expect_all_refused(table);

    // Pointers and lengths no message can have.
    expect_refused([] { dm_host_send_data(nullptr, 24); }, param);
    expect_refused([&] { dm_host_send_data(whole.data(), -24); }, param);
    bytes room = valid + bytes(128);
    expect_refused([&] { dm_host_send_rpc(room.data(), 28, nullptr); }, param);
    expect_refused([] { dm_host_send_rpc(nullptr, 28, nullptr); }, param);
    expect_refused([] { dm_host_addr_data(nullptr, 60); },
                   "input arguments error, data_len=60\r\n");
    expect_refused([&] { dm_host_addr_data(&ok, -1); }, "input arguments error, data_len=-1\r\n");
}

TEST_F(BadInput, PortConversionChunksOutsideTheOpenTransfer)
{
    for (const bool save : {false, true}) {
        const int chunk = fc_msg(save, DP_LIB_MSG_FC_START_CFG);
        // A new transfer of 3: the list reads empty until its over.
        send(fc_msg(save, DP_LIB_MSG_FC_START_CFG_BEGIN), static_cast<int32_t>(3));
        expect_all_refused({
            msg(chunk, fc_chunk(0, 1, 1), "is too short: len 16, need 24!\n"),
            msg(chunk, fc_chunk(0, INT_MAX, 1), "is too short: len 16, need "),
            msg(chunk, fc_chunk(2, 3, 2), "] invalid range[2, 3], max:3\r\n"),
            msg(chunk, fc_chunk(-1, 0, 2), "] invalid range[-1, 0], max:3\r\n"),
            msg(chunk, fc_chunk(2, 1, 0), "] invalid range[2, 1], max:3\r\n"),
            msg(chunk, bytes(7), "is too short: len 7, need 8!\n"),
        });
        const std::string fn = save ? "[FC dm: dm_fc_lib_save_cfg" : "[FC dm: dm_fc_lib_start_cfg";
        EXPECT_TRUE(
            dmtest::has(run([&] { dmtest::send_bytes(chunk, fc_chunk(0, 0, 1)); }).printed, fn));
    }
}

TEST_F(BadInput, InputsWhoseHandlingChangesATableOnPurpose)
{
    // Bytes beyond a record are not read: the port is stored as sent.
    dmtest::send_bytes(DP_LIB_MSG_PORT_INFO, bytes_of(port(2, 3, 3, 0x103)) + bytes(40, 0xEE));
    dm_port_t got;
    ASSERT_EQ(dm_get_pinfo_by_ifx(0x103, &got), 0);
    EXPECT_EQ(got.phyid, dm_slot_lport_phyid(1, 2, 3));

    // A negative count is an allocation that cannot be made: the old list is
    // already gone and the table is left empty.
    EXPECT_TRUE(dmtest::has(
        run([&] { dmtest::send_bytes(DP_LIB_MSG_MY_LPORT_CFG, lport_list(-1, 0)); }).printed,
        "Malloc fail!\n"));
    EXPECT_EQ(dm_get_my_lport_num(), 0);

    // In batch chip-ID data a bad record is skipped and the others are applied.
    const bytes batch =
        chipids(ADDR_LIB_BS_SYNC, 2, {slot(CHIPID_VALID, 70, {60}), slot(CHIPID_VALID, 3, {62})});
    EXPECT_FALSE(
        run([&] { dm_host_addr_data(batch.data(), static_cast<int>(batch.size())); }).unchanged);
    int node = 0;
    int unit = 0;
    EXPECT_EQ(dm_get_node_unit_from_chipid(62, &node, &unit), 0);
    EXPECT_EQ(dm_get_node_unit_from_chipid(60, &node, &unit), -3);
}

// The pre-installed list is taken once per process, so each count gets a
// test of its own: a list claiming `len` cards with card 1/1 at `entry` is
// taken with its diagnostic and announced.
class BadInputPreInstalledList : public BadInput {
protected:
    void send_list(int len, int entry, const std::string &diag)
    {
        dp_lib_per_inst_info_t list = {};
        list.len = len;
        list.info[entry] = {1, 1, 1, 0};
        const std::string printed = run([&] { send(DP_LIB_MSG_PORT_PRE_INST_DONE, list); }).printed;
        // No diagnostic at all: only the dispatcher's two trace lines.
        EXPECT_TRUE(diag.empty() ? dmtest::count(printed, "\n") == 2 : dmtest::has(printed, diag))
            << printed;
        events_expected_ = 3;
        dmtest::wait_events(3);
        ASSERT_EQ(dm_get_pre_inst_by_phyid(dm_slot_lport_phyid(1, 1, 1), &pre_), 0);
    }
    bool pre_ = false;
};

// A negative count is an empty list: taken silently, announced, matching
// nothing.
TEST_F(BadInputPreInstalledList, WithANegativeCount)
{
    send_list(-5, 0, "");
    EXPECT_FALSE(pre_);
}

// Exactly the 256 entries a list holds: taken silently, the last one counts.
TEST_F(BadInputPreInstalledList, HoldingExactlyItsMaximum)
{
    send_list(DP_LIB_PER_INST_MAX, DP_LIB_PER_INST_MAX - 1, "");
    EXPECT_TRUE(pre_);
}

// One too large is cut to the 256 entries present: the last one counts,
// with one log line per entry and one for the notification.
TEST_F(BadInputPreInstalledList, ClaimingMoreThanItHolds)
{
    const int lines_before = dm_host_log_count();
    send_list(DP_LIB_PER_INST_MAX + 1, DP_LIB_PER_INST_MAX - 1,
              "pre inst card num 257 invalid, taken as 256\n");
    EXPECT_TRUE(pre_);
    EXPECT_EQ(dm_host_log_count(), lines_before + DP_LIB_PER_INST_MAX + 1);
}

TEST_F(BadInput, DebugOptionsShowsAndBatchFlagsTheLibraryDoesNotKnow)
{
    for (const char *option : {"FCDBG 1", "fcdbg1", "fcdbg", " fcdbg 1", "", "fc dbg 1"}) {
        const Outcome o = run([&] { dm_host_run_dbg_init(option); });
        EXPECT_TRUE(o.printed.empty()) << option;
        EXPECT_TRUE(o.unchanged) << option;
    }
    EXPECT_TRUE(run([] { dm_host_run_dbg_init(nullptr); }).unchanged);
    for (int para : {13, 0, -1, static_cast<int>(DP_LIB_SHOW_PARAM_MAX), INT_MAX}) {
        const Outcome o = run([&] { dm_host_show(para); });
        const std::string line = "recv para: " + std::to_string(para) + "\r\n";
        EXPECT_TRUE(o.printed.ends_with(line) && dmtest::count(o.printed, "\n") == 1) << o.printed;
        EXPECT_TRUE(o.unchanged) << para;
    }
    dm_host_batch_steps_clear();
    for (int flag : {static_cast<int>(SYNC_BATCH_BEGIN), 2, -1}) {
        EXPECT_TRUE(run([&] { dm_host_batch(flag); }).unchanged) << flag;
    }
    EXPECT_EQ(dm_host_batch_steps(nullptr, 0), 0);
}

}  // namespace
