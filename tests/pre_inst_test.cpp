// Pre-installed cards: data message 15 is taken once, logged and announced
// by event 1029; the query matches a port's device, slot and the slot the
// interface manager presents it under. The scripted scenario has the worked
// answers; the bad-input tests have negative counts and counts above the list.
#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "dm_test_env.h"
#include <dm_lib_pd/dm_lib_pd.h>

namespace {

// A port of device 1 slot `slot` that the interface manager shows under
// `lsm_slot`; returns its slot_lport_phyid.
int add_port(int slot, int lport, int lsm_slot)
{
    dp_lib_port_t p = dmtest::port_record(1, slot, 0, lport, lport);
    p.subslotid = 7;  // plays no part
    p.lsm_key = p.phyid;
    p.lsm_user_slot = lsm_slot;
    dmtest::send(DP_LIB_MSG_PORT_INFO, p);
    return p.ss_phyid;
}

void send_list(int len, std::vector<dm_per_inst_card_info_t> cards)
{
    dp_lib_per_inst_info_t list = {len, {}};
    std::copy(cards.begin(), cards.end(), list.info);
    dmtest::send(DP_LIB_MSG_PORT_PRE_INST_DONE, list);
}

using dmtest::logged;

// The query's result, or 10 + its answer when it succeeds.
int ask(int phyid)
{
    bool is = false;
    const int ret = dm_get_pre_inst_by_phyid(phyid, &is);
    return ret == 0 ? 10 + is : ret;
}

TEST(PreInst, TakenOnceLoggedAndAnnounced)
{
    dmtest::start_app();
    const int on_list = add_port(3, 5, 2);
    const int off_list = add_port(4, 5, 0);
    EXPECT_EQ(ask(0x06090909), -2);  // no list yet: -2 even for a port nobody sent

    send_list(2, {{1, 3, 2, 0}, {1, 4, 2, 0}});
    const std::vector<dmtest::Event> ev = dmtest::wait_events(1);
    ASSERT_EQ(ev.size(), 1u);
    EXPECT_TRUE(ev[0].msg_id == DEV_MSG_PRE_INST_PORT_SYNC_DONE && ev[0].data.empty());
    EXPECT_EQ(logged(">:per inst card : 1 4 2 success, index:1"), 1);
    EXPECT_EQ((std::vector<int>{ask(on_list), ask(off_list)}), (std::vector<int>{11, 10}));

    // A second list changes nothing and raises nothing.
    const size_t lines = dmtest::log_lines().size();
    send_list(1, {{1, 4, 0, 0}});
    EXPECT_EQ(dmtest::wait_events(2, 200).size(), 1u);
    EXPECT_EQ(dmtest::log_lines().size(), lines);
    EXPECT_EQ(ask(off_list), 10);
}

TEST(PreInst, NoReaderSeesTheFlagBeforeTheList)
{
    const int port = add_port(3, 5, 2);
    std::atomic<bool> stop{false};
    std::atomic<int> wrong{0};
    std::thread reader([&] {
        while (!stop.load()) {
            wrong += ask(port) == 10;
        }
    });
    send_list(1, {{1, 3, 2, 0}});
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    stop = true;
    reader.join();
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_EQ(ask(port), 11);
}

}  // namespace
