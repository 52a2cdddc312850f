// The chip-ID allocation mirror as the host's address-manager client feeds it
// and as the application sees it: the queries, the allocation events at the
// batch end and after the initial synchronisation, the log lines, and the
// refusal of malformed synchronisation data.
#include <algorithm>
#include <atomic>
#include <cstring>
#include <initializer_list>
#include <string>
#include <thread>
#include <vector>

#include "dm_test_env.h"
#include <dm_lib_pd/dm_chipid.h>
#include <dm_lib_pd/dm_ids.h>

namespace {

constexpr int kNode3 = 0x01003000;   // device 1, slot 3: gslot 3
constexpr int kNode63 = 0x0201F000;  // device 2, slot 31: gslot 63

chipid_slot_t valid_rec(int gslot, std::initializer_list<int> ids, int per_unit, int card_type = 0x10)
{
    chipid_slot_t r = {};
    r.status = CHIPID_VALID;
    r.gslot = gslot;
    r.card_type = card_type;
    r.idnum_per_unit = static_cast<uint16_t>(per_unit);
    for (int id : ids) {
        r.id[r.id_num++] = static_cast<uint16_t>(id);
    }
    return r;
}

chipid_slot_t none_rec(int gslot)
{
    chipid_slot_t r = {};
    r.gslot = gslot;
    return r;
}

// Synchronisation data of `type` holding `recs`; `data_num` overrides the count.
std::vector<uint8_t> sync_data(int type, const std::vector<chipid_slot_t> &recs, int data_num = -1)
{
    addr_lib_sync_head_t h = {};
    h.type = type;
    h.data_num = data_num >= 0 ? data_num : static_cast<int>(recs.size());
    h.len = static_cast<int>(sizeof h + recs.size() * sizeof(chipid_slot_t));
    std::vector<uint8_t> buf(static_cast<size_t>(h.len));
    std::memcpy(buf.data(), &h, sizeof h);
    for (size_t i = 0; i < recs.size(); ++i) {
        std::memcpy(buf.data() + sizeof h + i * sizeof(chipid_slot_t), &recs[i], sizeof recs[i]);
    }
    return buf;
}

void send_sync(int type, const std::vector<chipid_slot_t> &recs)
{
    std::vector<uint8_t> buf = sync_data(type, recs);
    ASSERT_TRUE(dm_host_addr_data(buf.data(), static_cast<int>(buf.size())));
}

std::string send_captured(const std::vector<uint8_t> &buf)
{
    return dmtest::capture_stdout([&] { dm_host_addr_data(buf.data(), static_cast<int>(buf.size())); });
}

int alloced_count()
{
    std::vector<dm_chipid_alloc_t> all(2048);
    int num = 2048;
    EXPECT_EQ(dm_get_alloced_chipid(all.data(), &num), 0);
    return num;
}

dm_chipid_alloc_t alloc_of(const dmtest::Event &e)
{
    dm_chipid_alloc_t a = {};
    EXPECT_EQ(e.msg_id, DEV_MSG_CHIPIP_ALLOC);
    EXPECT_EQ(e.data.size(), sizeof a);
    std::memcpy(&a, e.data.data(), std::min(e.data.size(), sizeof a));
    return a;
}

TEST(Chipid, BatchDataAnswersEveryQuery)
{
    dm_host_set_dbg_level(LIB_DBG_END);
    dm_host_set_my_card(kNode3, 3, 0x10, DM_TYPE_LC);
    send_sync(ADDR_LIB_BS_SYNC, {valid_rec(3, {40, 41, 42, 43, 44}, 2), valid_rec(63, {100, 101}, 1)});

    int node = 0, unit = 0;
    ASSERT_EQ(dm_get_node_unit_from_chipid(44, &node, &unit), 0);
    EXPECT_EQ(node, kNode3);
    EXPECT_EQ(unit, 2);  // five IDs, two per unit: units 0, 0, 1, 1, 2
    ASSERT_EQ(dm_get_node_unit_from_chipid(101, &node, &unit), 0);
    EXPECT_EQ(node, kNode63);
    EXPECT_EQ(unit, 1);
    EXPECT_EQ(dm_get_node_unit_from_chipid(45, &node, &unit), -3);
    EXPECT_EQ(dm_get_node_unit_from_chipid(2048, &node, &unit), -2);

    int first = 0;
    EXPECT_EQ(dm_get_first_chipid_from_node(kNode63, &first), 0);
    EXPECT_EQ(first, 100);
    EXPECT_EQ(dm_get_first_chipid_from_unit_node(1, kNode3, &first), 0);
    EXPECT_EQ(first, 42);
    EXPECT_EQ(dm_get_first_chipid_from_local_unit(0, &first), 0);
    EXPECT_EQ(first, 40);
    // Unit 2 owns an ID, but the card has two whole chips only.
    EXPECT_EQ(dm_get_first_chipid_from_unit_node(2, kNode3, &first), -2);
    EXPECT_EQ(dm_get_first_chipid_from_node(0x01004000, &first), -3);  // slot 4: nothing
    // A sub-slot card: refused by the argument check, or by the slot range.
    EXPECT_EQ(dm_get_first_chipid_from_node(0x01043000, &first), -2);
    EXPECT_EQ(dm_get_first_chipid_from_unit_node(0, 0x01043000, &first), -2);

    int ids[16];
    int num = 1;
    EXPECT_EQ(dm_get_chipid_range_by_node(kNode3, ids, &num), -4);
    num = 2;
    ASSERT_EQ(dm_get_chipid_range_by_node(kNode3, ids, &num), 0);
    EXPECT_EQ(std::vector<int>(ids, ids + num), (std::vector<int>{40, 42}));
    num = 1;
    EXPECT_EQ(dm_get_chipid_from_unit_node(1, kNode3, ids, &num), -4);
    num = 16;
    ASSERT_EQ(dm_get_chipid_from_unit_node(1, kNode3, ids, &num), 0);
    EXPECT_EQ(std::vector<int>(ids, ids + num), (std::vector<int>{42, 43}));
    EXPECT_EQ(dm_get_chipid_from_unit_node(-1, kNode3, ids, &num), -2);

    std::vector<int> by_dev(2048);
    ASSERT_EQ(dm_get_chipid_range_by_dev(2, by_dev.data(), &num), 0);
    EXPECT_EQ(std::vector<int>(by_dev.begin(), by_dev.begin() + num), (std::vector<int>{100, 101}));
    ASSERT_EQ(dm_get_chipid_range_by_dev(3, by_dev.data(), &num), 0);
    EXPECT_EQ(num, 0);

    dm_chipid_alloc_t all[7];
    num = 6;
    EXPECT_EQ(dm_get_alloced_chipid(all, &num), -4);
    num = 7;
    ASSERT_EQ(dm_get_alloced_chipid(all, &num), 0);
    ASSERT_EQ(num, 7);
    EXPECT_EQ(all[4].chipid, 44);
    EXPECT_EQ(all[4].unit, 2);
    EXPECT_EQ(all[6].chipid, 101);
    EXPECT_EQ(all[6].node, kNode63);

    EXPECT_TRUE(dm_is_local_chipid(41));
    EXPECT_FALSE(dm_is_local_chipid(100));
    EXPECT_FALSE(dm_is_local_chipid(45));
    dm_host_set_dbg_level(LIB_DBG_ERROR);
    std::string out = dmtest::capture_stdout([] { EXPECT_FALSE(dm_is_local_chipid(2048)); });
    EXPECT_NE(out.find("input arguments error, chipid=2048\r\n"), std::string::npos) << out;

    int lo = 0, hi = 0;
    EXPECT_EQ(dm_get_system_invalid_chipid(), 25);
    ASSERT_EQ(dm_get_system_reserved_chipid_range(&lo, &hi), 0);
    EXPECT_EQ(lo * 100 + hi, 2626);
    ASSERT_EQ(dm_get_zone_reserved_chipid_range(&lo, &hi), 0);
    EXPECT_EQ(lo * 100 + hi, 108);
    EXPECT_EQ(dm_get_zone_reserved_chipid_range(nullptr, &hi), -2);
}

TEST(Chipid, ReleaseFreesOnlyTheStoredIds)
{
    dm_host_set_dbg_level(LIB_DBG_END);
    send_sync(ADDR_LIB_REAL_SYNC, {valid_rec(5, {40, 41, 42}, 3)});
    // A new valid record for the slot keeps the IDs it no longer lists, and
    // an ID counted before is not counted twice.
    send_sync(ADDR_LIB_REAL_SYNC, {valid_rec(5, {42, 43}, 1)});
    EXPECT_EQ(alloced_count(), 4);
    // The release names other IDs: those of the stored record go.
    send_sync(ADDR_LIB_REAL_SYNC, {valid_rec(5, {99}, 1)});
    chipid_slot_t rel = none_rec(5);
    rel.id_num = 1;
    rel.id[0] = 40;
    send_sync(ADDR_LIB_REAL_SYNC, {rel});
    EXPECT_EQ(alloced_count(), 4);  // 40..43 stay, 99 went
    int node = 0, unit = 0, first = 0;
    EXPECT_EQ(dm_get_node_unit_from_chipid(99, &node, &unit), -3);
    EXPECT_EQ(dm_get_node_unit_from_chipid(40, &node, &unit), 0);
    EXPECT_EQ(dm_get_first_chipid_from_node(dm_node_make(1, 5), &first), -3);
}

TEST(Chipid, MalformedDataIsRefusedBeforeAnyChange)
{
    dm_host_set_dbg_level(LIB_DBG_ERROR);
    send_sync(ADDR_LIB_BS_SYNC, {valid_rec(3, {40}, 1)});
    struct Case {
        std::vector<uint8_t> data;
        const char *message;
    };
    std::vector<uint8_t> wrong_len = sync_data(ADDR_LIB_REAL_SYNC, {valid_rec(4, {50}, 1)});
    wrong_len.push_back(0);
    // The header claims two records where one is present; its len matches
    // what was delivered, so only the record count gives it away.
    std::vector<uint8_t> short_records = sync_data(ADDR_LIB_BS_SYNC, {valid_rec(4, {50}, 1)}, 2);
    chipid_slot_t limit = valid_rec(3, {60}, 1);
    limit.status = CHIPID_LIMIT;
    const std::vector<Case> cases = {
        {sync_data(ADDR_LIB_BS_SYNC, {valid_rec(64, {50}, 1)}), "chipid info eror, gslot=0x000040\r\n"},
        {sync_data(ADDR_LIB_BS_SYNC, {valid_rec(4, {50, 51, 52}, 0)}),
         "chipid info eror, gslot=0x000004 idnum_per_unit=0, id_num=3\r\n"},
        {sync_data(ADDR_LIB_BS_SYNC, {valid_rec(4, {50}, 2)}), "idnum_per_unit=2, id_num=1\r\n"},
        {sync_data(ADDR_LIB_BS_SYNC, {valid_rec(4, {}, 1)}), "idnum_per_unit=1, id_num=0\r\n"},
        {sync_data(ADDR_LIB_BS_SYNC, {valid_rec(4, {50, 2048}, 1)}), "chipid info eror, gslot=0x000004 chipid=2048\r\n"},
        {sync_data(ADDR_LIB_BS_SYNC, {limit}), ">>>>gslot status[2] error\r\n"},
        {wrong_len, "addr data len error, rcv_len=61 sync_len=60\r\n"},
        {std::vector<uint8_t>(8), "addr data len error, rcv_len=8 head_len=12\r\n"},
        {short_records, "addr data len error, sync_len=60 data_num=2\r\n"},
        {sync_data(ADDR_LIB_BS_SYNC, std::vector<chipid_slot_t>(65, none_rec(4))), "addr bs data number[65] error\r\n"},
        {sync_data(ADDR_LIB_REAL_SYNC, {valid_rec(4, {50}, 1), valid_rec(6, {51}, 1)}),
         "addr real data number[2] error\r\n"},
        {sync_data(ADDR_LIB_DCM_READY_NOTIFY, {}), "addr data type error, type=2 sync_len=12\r\n"},
    };
    for (const Case &c : cases) {
        std::string out = send_captured(c.data);
        EXPECT_NE(out.find(c.message), std::string::npos) << c.message << " / " << out;
    }
    // A 17-entry record cannot be built through valid_rec.
    chipid_slot_t wide = valid_rec(4, {50}, 1);
    wide.id_num = 17;
    std::string out = send_captured(sync_data(ADDR_LIB_BS_SYNC, {wide}));
    EXPECT_NE(out.find("idnum_per_unit=1, id_num=17\r\n"), std::string::npos) << out;
    out = dmtest::capture_stdout([] { dm_host_addr_data(nullptr, 12); });
    EXPECT_NE(out.find("input arguments error, data_len=12\r\n"), std::string::npos) << out;

    int ids[16], num = 16;
    ASSERT_EQ(dm_get_chipid_range_by_node(kNode3, ids, &num), 0);
    EXPECT_EQ(num, 1);
    EXPECT_EQ(ids[0], 40);
    EXPECT_EQ(alloced_count(), 1);
    // Batch data with no record is accepted and changes nothing.
    send_sync(ADDR_LIB_BS_SYNC, {});
    EXPECT_EQ(alloced_count(), 1);
}

TEST(Chipid, AllocationEventsAtBatchEndAndAfterSync)
{
    dmtest::start_app();
    dm_host_set_dbg_level(LIB_DBG_END);
    dm_host_set_bs_over(false);
    send_sync(ADDR_LIB_BS_SYNC, {valid_rec(35, {70, 71}, 1), valid_rec(3, {40, 41, 42}, 2)});
    send_sync(ADDR_LIB_REAL_SYNC, {valid_rec(4, {50}, 1)});  // before the sync is over: silent
    ASSERT_TRUE(dm_host_batch(SYNC_BATCH_OVER));
    std::vector<dmtest::Event> ev = dmtest::wait_events(6);
    ASSERT_EQ(ev.size(), 6u);
    // Ascending gslot: 3, 4, 35; one event per ID with its unit.
    const int want[6][3] = {{40, kNode3, 0}, {41, kNode3, 0}, {42, kNode3, 1},
                            {50, 0x01004000, 0}, {70, 0x02003000, 0}, {71, 0x02003000, 1}};
    for (int i = 0; i < 6; ++i) {
        dm_chipid_alloc_t a = alloc_of(ev[i]);
        EXPECT_EQ(a.chipid, want[i][0]);
        EXPECT_EQ(a.node, want[i][1]);
        EXPECT_EQ(a.unit, want[i][2]);
        EXPECT_EQ(a.node_type, DM_TYPE_BOX);
    }
    int logged = 0;
    for (const std::string &line : dmtest::log_lines()) {
        logged += line.find(">:chipid:") != std::string::npos;
        if (line.find(">:chipid:42,") != std::string::npos) {
            EXPECT_EQ(line.substr(line.find(">:")), ">:chipid:42,node:1003000,unit:1,type:1");
        }
    }
    EXPECT_EQ(logged, 6);

    dmtest::clear_events();
    dm_host_set_bs_over(true);
    send_sync(ADDR_LIB_REAL_SYNC, {valid_rec(3, {40, 41, 42}, 2)});  // unchanged
    send_sync(ADDR_LIB_REAL_SYNC, {none_rec(4)});                    // a release
    send_sync(ADDR_LIB_REAL_SYNC, {valid_rec(3, {40, 41, 42}, 2, 0x11)});  // card type only
    ev = dmtest::wait_events(3);
    ASSERT_EQ(ev.size(), 3u);
    EXPECT_EQ(alloc_of(ev[0]).chipid, 40);
    EXPECT_EQ(alloc_of(ev[2]).chipid, 42);
    EXPECT_EQ(dmtest::wait_events(4, 100).size(), 3u);
}

TEST(Chipid, QueriesRunWhileAllocationsChange)
{
    dm_host_set_dbg_level(LIB_DBG_END);
    std::atomic<bool> stop{false};
    std::thread writer([&] {
        for (int i = 0; i < 2000; ++i) {
            send_sync(ADDR_LIB_REAL_SYNC, {i % 2 ? none_rec(7) : valid_rec(7, {80, 81, 82, 83}, 2)});
        }
        stop = true;
    });
    int bad = 0;
    while (!stop) {
        int node = 0, unit = 0;
        int ret = dm_get_node_unit_from_chipid(83, &node, &unit);
        if (ret != -3 && !(ret == 0 && node == dm_node_make(1, 7) && unit == 1)) {
            ++bad;
        }
        dm_chipid_alloc_t all[4];
        int num = 4;
        ret = dm_get_alloced_chipid(all, &num);
        if (ret != 0 || (num != 0 && num != 4)) {
            ++bad;
        }
    }
    writer.join();
    EXPECT_EQ(bad, 0);
}

}  // namespace
