// The chip-ID allocation mirror as the address-manager client feeds it and
// the application sees it, beyond the scripted chip-ID scenario (which has the
// events after the initial synchronisation): what a release frees, refusals
// the bad-input tests do not tell apart, the batch-end events in full, and
// lock-free queries during changes.
#include <algorithm>
#include <atomic>
#include <cstring>
#include <initializer_list>
#include <string>
#include <thread>
#include <vector>

#include "dm_test_env.h"
#include <dm_lib_pd/dm_chipid_query.h>
#include <dm_lib_pd/dm_ids.h>

namespace {

constexpr int kNode3 = 0x01003000;  // device 1, slot 3: gslot 3

chipid_slot_t rec(int gslot, std::initializer_list<int> ids, int per_unit,
                  int status = CHIPID_VALID, int card_type = 0x10)
{
    chipid_slot_t r = dmstandin::chipid_slot(gslot, ids, per_unit, card_type);
    r.status = status;
    return r;
}

void sync(int type, const std::vector<chipid_slot_t> &recs)
{
    const std::vector<uint8_t> b = dmstandin::addr_sync(type, recs);
    EXPECT_TRUE(dm_host_addr_data(b.data(), static_cast<int>(b.size())));
}

int alloced_count()
{
    std::vector<dm_chipid_alloc_t> all(2048);
    int num = 2048;
    EXPECT_EQ(dm_get_alloced_chipid(all.data(), &num), 0);
    return num;
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
    EXPECT_EQ(dm_get_node_unit_from_chipid(40, &node, &unit), 0);
    EXPECT_EQ(dm_get_first_chipid_from_node(dm_node_make(1, 5), &first), -3);
    EXPECT_EQ(dm_get_first_chipid_from_unit_node(0, dm_node_make(1, 5), &first), -3);
    dm_host_set_dbg_level(LIB_DBG_WARN);
    const std::string out = dmtest::capture_stdout([] { EXPECT_FALSE(dm_is_local_chipid(99)); });
    EXPECT_TRUE(dmtest::has(out, "chipid[99] not alloc\r\n")) << out;
}

// Every malformed shape is refused by the bad-input tests; these are the
// ones they do not distinguish: data longer than its header says, and the
// whole text of a refused record.
TEST(Chipid, LongerDataAndABadRecordAreRefused)
{
    dm_host_set_dbg_level(LIB_DBG_ERROR);
    sync(ADDR_LIB_BS_SYNC, {rec(3, {40}, 1)});
    std::vector<uint8_t> longer = dmstandin::addr_sync(ADDR_LIB_REAL_SYNC, {rec(4, {50}, 1)});
    longer.push_back(0);
    std::string out = dmtest::capture_stdout([&] {
        dm_host_addr_data(longer.data(), static_cast<int>(longer.size()));
        sync(ADDR_LIB_REAL_SYNC, {rec(4, {50, 51}, 0)});
    });
    EXPECT_TRUE(dmtest::has(out, "addr data len error, rcv_len=61 sync_len=60\r\n")) << out;
    EXPECT_TRUE(dmtest::has(out, "chipid info eror, gslot=0x000004 idnum_per_unit=0, id_num=2\r\n"))
        << out;
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

TEST(Chipid, AllocationEventsAtBatchEnd)
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
    EXPECT_EQ(dmtest::logged(">:chipid:"), 6);
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
        int first = 0;
        ret = dm_get_first_chipid_from_unit_node(1, dm_node_make(1, 7), &first);
        bad += ret != -3 && !(ret == 0 && first == 82);
    }
    writer.join();
    EXPECT_EQ(bad, 0);
}

}  // namespace
