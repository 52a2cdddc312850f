// The chip-ID allocation mirror as the address-manager client feeds it and
// the application sees it: queries, allocation events and log lines, and the
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

chipid_slot_t rec(int gslot, std::initializer_list<int> ids, int per_unit,
                  int status = CHIPID_VALID, int card_type = 0x10)
{
    chipid_slot_t r = {status, gslot, card_type, static_cast<uint16_t>(per_unit), 0, {}};
    for (int id : ids) {
        r.id[r.id_num++] = static_cast<uint16_t>(id);
    }
    return r;
}

// Synchronisation data of `type` holding `recs`; `data_num` overrides the count.
std::vector<uint8_t> sync_data(int type, const std::vector<chipid_slot_t> &recs, int data_num = -1)
{
    addr_lib_sync_head_t h = {0, type, data_num >= 0 ? data_num : static_cast<int>(recs.size())};
    h.len = static_cast<int>(sizeof h + recs.size() * sizeof(chipid_slot_t));
    std::vector<uint8_t> buf(sizeof h);
    std::memcpy(buf.data(), &h, sizeof h);
    buf.insert(buf.end(), reinterpret_cast<const uint8_t *>(recs.data()),
               reinterpret_cast<const uint8_t *>(recs.data() + recs.size()));
    return buf;
}

void sync(int type, const std::vector<chipid_slot_t> &recs)
{
    std::vector<uint8_t> b = sync_data(type, recs);
    EXPECT_TRUE(dm_host_addr_data(b.data(), static_cast<int>(b.size())));
}

int alloced_count()
{
    std::vector<dm_chipid_alloc_t> all(2048);
    int num = 2048;
    EXPECT_EQ(dm_get_alloced_chipid(all.data(), &num), 0);
    return num;
}

TEST(Chipid, BatchDataAnswersEveryQuery)
{
    dm_host_set_dbg_level(LIB_DBG_END);
    dm_host_set_my_card(kNode3, 3, 0x10, DM_TYPE_LC);
    sync(ADDR_LIB_BS_SYNC, {rec(3, {40, 41, 42, 43, 44}, 2), rec(63, {100, 101}, 1)});

    int node = 0, unit = 0, first = 0, ids[2048], num = 0;
    ASSERT_EQ(dm_get_node_unit_from_chipid(44, &node, &unit), 0);
    EXPECT_EQ(node * 10 + unit, kNode3 * 10 + 2);  // units 0, 0, 1, 1, 2
    EXPECT_EQ(dm_get_node_unit_from_chipid(45, &node, &unit), -3);
    EXPECT_EQ(dm_get_node_unit_from_chipid(2048, &node, &unit), -2);
    ASSERT_EQ(dm_get_first_chipid_from_local_unit(1, &first), 0);
    EXPECT_EQ(first, 42);
    EXPECT_EQ(dm_get_first_chipid_from_unit_node(2, kNode3, &first), -2);  // two whole chips only
    EXPECT_EQ(dm_get_first_chipid_from_node(0x01004000, &first), -3);
    EXPECT_EQ(dm_get_first_chipid_from_node(0x01043000, &first), -2);  // a sub-slot card

    num = 1;
    EXPECT_EQ(dm_get_chipid_range_by_node(kNode3, ids, &num), -4);
    num = 2;
    ASSERT_EQ(dm_get_chipid_range_by_node(kNode3, ids, &num), 0);
    EXPECT_EQ(std::vector<int>(ids, ids + num), (std::vector<int>{40, 42}));
    num = 2;
    ASSERT_EQ(dm_get_chipid_from_unit_node(1, kNode3, ids, &num), 0);
    EXPECT_EQ(std::vector<int>(ids, ids + num), (std::vector<int>{42, 43}));
    ASSERT_EQ(dm_get_chipid_range_by_dev(2, ids, &num), 0);
    EXPECT_EQ(std::vector<int>(ids, ids + num), (std::vector<int>{100, 101}));
    ASSERT_EQ(dm_get_chipid_range_by_dev(3, ids, &num), 0);
    EXPECT_EQ(num, 0);

    dm_chipid_alloc_t all[7];
    num = 6;
    EXPECT_EQ(dm_get_alloced_chipid(all, &num), -4);
    num = 7;
    ASSERT_EQ(dm_get_alloced_chipid(all, &num), 0);
    EXPECT_EQ((std::vector<int>{all[4].chipid, all[4].unit, all[6].node}),
              (std::vector<int>{44, 2, kNode63}));

    EXPECT_TRUE(dm_is_local_chipid(41));
    EXPECT_FALSE(dm_is_local_chipid(100));
    dm_host_set_dbg_level(LIB_DBG_WARN);
    std::string out = dmtest::capture_stdout([] { EXPECT_FALSE(dm_is_local_chipid(45)); });
    EXPECT_NE(out.find("chipid[45] not alloc\r\n"), std::string::npos) << out;
}

TEST(Chipid, ReleaseFreesOnlyTheStoredIds)
{
    dm_host_set_dbg_level(LIB_DBG_END);
    sync(ADDR_LIB_REAL_SYNC, {rec(5, {40, 41, 42}, 3)});
    sync(ADDR_LIB_REAL_SYNC, {rec(5, {42, 43}, 1)});  // 40, 41 stay; 42 is not counted twice
    EXPECT_EQ(alloced_count(), 4);
    sync(ADDR_LIB_REAL_SYNC, {rec(5, {99}, 1)});
    sync(ADDR_LIB_REAL_SYNC, {rec(5, {40}, 1, CHIPID_NONE)});  // releases the stored 99
    EXPECT_EQ(alloced_count(), 4);
    int node = 0, unit = 0, first = 0;
    EXPECT_EQ(dm_get_node_unit_from_chipid(99, &node, &unit), -3);
    EXPECT_EQ(dm_get_node_unit_from_chipid(40, &node, &unit), 0);
    EXPECT_EQ(dm_get_first_chipid_from_node(dm_node_make(1, 5), &first), -3);
}

TEST(Chipid, MalformedDataIsRefusedBeforeAnyChange)
{
    dm_host_set_dbg_level(LIB_DBG_ERROR);
    sync(ADDR_LIB_BS_SYNC, {rec(3, {40}, 1)});
    std::vector<uint8_t> wrong_len = sync_data(ADDR_LIB_REAL_SYNC, {rec(4, {50}, 1)});
    wrong_len.push_back(0);
    chipid_slot_t wide = rec(4, {50}, 1);
    wide.id_num = 17;
    const std::vector<std::pair<std::vector<uint8_t>, const char *>> cases = {
        {sync_data(0, {rec(64, {50}, 1)}), "chipid info eror, gslot=0x000040\r\n"},
        {sync_data(0, {rec(4, {50, 51}, 0)}),
         "chipid info eror, gslot=0x000004 idnum_per_unit=0, id_num=2\r\n"},
        {sync_data(0, {rec(4, {}, 1)}), "idnum_per_unit=1, id_num=0\r\n"},
        {sync_data(0, {wide}), "idnum_per_unit=1, id_num=17\r\n"},
        {sync_data(0, {rec(4, {50, 2048}, 1)}), "chipid info eror, gslot=0x000004 chipid=2048\r\n"},
        {sync_data(0, {rec(3, {60}, 1, CHIPID_LIMIT)}), ">>>>gslot status[2] error\r\n"},
        {wrong_len, "addr data len error, rcv_len=61 sync_len=60\r\n"},
        {std::vector<uint8_t>(8), "addr data len error, rcv_len=8 head_len=12\r\n"},
        // len matches the delivery, but two records are announced and one is present
        {sync_data(0, {rec(4, {50}, 1)}, 2), "addr data len error, sync_len=60 data_num=2\r\n"},
        {sync_data(0, std::vector<chipid_slot_t>(65, rec(4, {}, 0, CHIPID_NONE))),
         "addr bs data number[65] error\r\n"},
        {sync_data(1, {rec(4, {50}, 1), rec(6, {51}, 1)}), "addr real data number[2] error\r\n"},
    };
    for (const auto &c : cases) {
        const auto &data = c.first;
        const std::string message = c.second;
        std::string out = dmtest::capture_stdout(
            [&] { dm_host_addr_data(data.data(), static_cast<int>(data.size())); });
        EXPECT_NE(out.find(message), std::string::npos) << message << " / " << out;
    }
    int ids[16], num = 16;
    ASSERT_EQ(dm_get_chipid_range_by_node(kNode3, ids, &num), 0);
    EXPECT_EQ(num * 100 + ids[0], 140);
    EXPECT_EQ(alloced_count(), 1);
}

// Allocation events as {chipid, node, unit}, each checked for its id, size and node type.
std::vector<std::vector<int>> allocs(const std::vector<dmtest::Event> &ev)
{
    std::vector<std::vector<int>> out;
    for (const dmtest::Event &e : ev) {
        dm_chipid_alloc_t a = {};
        EXPECT_EQ(e.msg_id * 100 + static_cast<int>(e.data.size()),
                  DEV_MSG_CHIPIP_ALLOC * 100 + 16);
        std::memcpy(&a, e.data.data(), std::min(e.data.size(), sizeof a));
        EXPECT_EQ(a.node_type, DM_TYPE_BOX);
        out.push_back({a.chipid, a.node, a.unit});
    }
    return out;
}

TEST(Chipid, AllocationEventsAtBatchEndAndAfterSync)
{
    dmtest::start_app();
    dm_host_set_dbg_level(LIB_DBG_END);
    dm_host_set_bs_over(false);
    sync(ADDR_LIB_BS_SYNC, {rec(35, {70, 71}, 1), rec(3, {40, 41, 42}, 2)});
    sync(ADDR_LIB_REAL_SYNC, {rec(4, {50}, 1)});  // before the sync is over: silent
    ASSERT_TRUE(dm_host_batch(SYNC_BATCH_OVER));
    // Ascending gslot 3, 4, 35; one event per ID with its unit.
    EXPECT_EQ(allocs(dmtest::wait_events(6)), (std::vector<std::vector<int>>{{40, kNode3, 0},
                                                                             {41, kNode3, 0},
                                                                             {42, kNode3, 1},
                                                                             {50, 0x01004000, 0},
                                                                             {70, 0x02003000, 0},
                                                                             {71, 0x02003000, 1}}));
    std::vector<std::string> logged;
    for (const std::string &line : dmtest::log_lines()) {
        if (line.find(">:chipid:") != std::string::npos) {
            logged.push_back(line.substr(line.find(">:") + 2));
        }
    }
    ASSERT_EQ(logged.size(), 6u);
    EXPECT_EQ(logged[2], "chipid:42,node:1003000,unit:1,type:1");

    dmtest::clear_events();
    dm_host_set_bs_over(true);
    sync(ADDR_LIB_REAL_SYNC, {rec(3, {40, 41, 42}, 2)});  // unchanged
    sync(ADDR_LIB_REAL_SYNC, {rec(4, {}, 0, CHIPID_NONE)});
    sync(ADDR_LIB_REAL_SYNC, {rec(3, {40, 41, 42}, 2, CHIPID_VALID, 0x11)});  // card type only
    dmtest::wait_events(3);
    EXPECT_EQ(allocs(dmtest::wait_events(4, 100)),
              (std::vector<std::vector<int>>{{40, kNode3, 0}, {41, kNode3, 0}, {42, kNode3, 1}}));
}

TEST(Chipid, QueriesRunWhileAllocationsChange)
{
    dm_host_set_dbg_level(LIB_DBG_END);
    std::atomic<bool> stop{false};
    std::thread writer([&] {
        for (int i = 0; i < 2000; ++i) {
            sync(ADDR_LIB_REAL_SYNC,
                 {rec(7, {80, 81, 82, 83}, 2, i % 2 ? CHIPID_NONE : CHIPID_VALID)});
        }
        stop = true;
    });
    int bad = 0;
    while (!stop) {
        int node = 0, unit = 0, num = 4;
        int ret = dm_get_node_unit_from_chipid(83, &node, &unit);
        bad += ret != -3 && !(ret == 0 && node == dm_node_make(1, 7) && unit == 1);
        dm_chipid_alloc_t all[4];
        bad += dm_get_alloced_chipid(all, &num) != 0 || (num != 0 && num != 4);
    }
    writer.join();
    EXPECT_EQ(bad, 0);
}

}  // namespace
