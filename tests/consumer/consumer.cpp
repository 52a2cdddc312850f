// A C++ application built against an installed dm_lib_pd: the identifier
// encoders at compile time; a port record and its chip's ID sent through the
// host stand-in and looked up in both directions; a port-conversion list
// committed by a transfer, announced by an event and handed out as a heap
// copy that the caller frees.
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <vector>

#include <dm_lib_pd/dm_lib_pd.h>

#include "dm_host_ctl.h"

// The encoders are constant expressions in C++.
static_assert(dm_mod_port_phyid(41, 10) == 0x0700290a, "mod_port_phyid");
static_assert(dm_slot_lport_phyid(1, 3, 5) == 0x06010305, "slot_lport_phyid");
static_assert(dm_phyid_form(dm_unit_port_phyid(1, 3, 1, 10)) == DM_PHYID_FORM_UNIT_PORT, "form");

namespace {

std::mutex g_mu;
std::condition_variable g_cv;
std::vector<int> g_events;
int g_failures = 0;

void check(bool ok, const char *what)
{
    if (!ok) {
        std::fprintf(stderr, "consumer_cxx: wrong answer: %s\n", what);
        ++g_failures;
    }
}

// Runs on the library's event thread, one event at a time.
int on_event(dev_msg_t *msg)
{
    std::lock_guard<std::mutex> lock(g_mu);
    g_events.push_back(msg->msg_id);
    g_cv.notify_all();
    return 0;
}

bool wait_event(int msg_id)
{
    std::unique_lock<std::mutex> lock(g_mu);
    return g_cv.wait_for(lock, std::chrono::seconds(10), [msg_id] {
        for (int id : g_events) {
            if (id == msg_id) {
                return true;
            }
        }
        return false;
    });
}

void send_port(int node)
{
    dp_lib_port_t port{};
    port.ifx = 0x2005;
    port.phyid = dm_phyid_make(2, 6, 0, 17);
    port.ss_phyid = dm_slot_lport_phyid(2, 6, 9);
    port.node = node;
    port.devid = 2;
    port.slotid = 6;
    port.portid = 9;
    port.l_chipid = 0;
    port.chip_portid = 17;
    port.type = PORT_HUGIGABIT_ETHERNET;
    dm_host_send_msg(DP_LIB_MSG_PORT_INFO, &port, static_cast<int>(sizeof port));
}

// The address manager gives the card's only chip global chip ID 500.
void send_chip_id(int gslot)
{
    struct {
        addr_lib_sync_head_t head;
        chipid_slot_t slot;
    } sync{};
    sync.head.len = static_cast<int32_t>(sizeof sync);
    sync.head.type = ADDR_LIB_REAL_SYNC;
    sync.head.data_num = 1;
    sync.slot.status = CHIPID_VALID;
    sync.slot.gslot = gslot;
    sync.slot.card_type = 330;
    sync.slot.idnum_per_unit = 1;
    sync.slot.id_num = 1;
    sync.slot.id[0] = 500;
    dm_host_addr_data(&sync, static_cast<int>(sizeof sync));
}

// The startup conversion list as the data-plane master sends it: begin with
// the entry count, one chunk, over.
void send_fc_startup_list(const std::vector<dm_convert_cfg_t> &entries)
{
    const int32_t num = static_cast<int32_t>(entries.size());
    dm_host_send_msg(DP_LIB_MSG_FC_START_CFG_BEGIN, &num, static_cast<int>(sizeof num));
    const dp_lib_fc_cfg_info_t head{0, num - 1};
    std::vector<unsigned char> chunk(sizeof head + entries.size() * sizeof(dm_convert_cfg_t));
    std::memcpy(chunk.data(), &head, sizeof head);
    std::memcpy(chunk.data() + sizeof head, entries.data(), entries.size() * sizeof entries[0]);
    dm_host_send_msg(DP_LIB_MSG_FC_START_CFG, chunk.data(), static_cast<int>(chunk.size()));
    static const int32_t unread = 0;
    dm_host_send_msg(DP_LIB_MSG_FC_START_CFG_OVER, &unread, 0);
}

}  // namespace

int main()
{
    check(dm_reg_dev_event_handler_pd(on_event) == 0, "event handler registered");
    const int node = dm_node_make(2, 6);
    const int gslot = dm_get_gslot_from_lslot(2, 6, 0);
    dm_host_set_my_card(node, gslot, 330, DM_TYPE_LC);
    check(dm_host_run_init() == 0, "library initialised by the host");

    send_port(node);
    send_chip_id(gslot);
    dm_port_t p{};
    check(dm_get_pinfo_by_phyid(dm_slot_lport_phyid(2, 6, 9), &p) == 0 && p.ifx == 0x2005 &&
              p.g_chipid == 500 && p.chip_portid == 17,
          "port by slot_lport_phyid");
    int phyid = 0;
    check(dm_get_phyid_from_ifx(0x2005, &phyid) == 0 && phyid == dm_mod_port_phyid(500, 17),
          "mod_port_phyid by interface index");
    int ifindex = 0;
    check(dm_get_ifindex_from_phyid(dm_unit_port_phyid(2, 6, 0, 17), &ifindex) == 0 &&
              ifindex == 0x2005,
          "interface index by unit_port_phyid");

    send_fc_startup_list(
        {{dm_slot_lport_phyid(2, 6, 9), PORT_FC}, {dm_slot_lport_phyid(2, 6, 10), PORT_FC}});
    check(wait_event(DEV_MSG_FC_START_CFG_OVER), "startup list announced");
    dm_convert_cfg_t *raw = nullptr;
    int num = 0;
    check(dm_get_fc_startup_cfg(&raw, &num) == 0, "startup list copied");
    const std::unique_ptr<dm_convert_cfg_t, decltype(&std::free)> list(raw, &std::free);
    check(num == 2 && list && list.get()[1].phyid == dm_slot_lport_phyid(2, 6, 10) &&
              list.get()[1].type == PORT_FC,
          "startup list entries");

    dm_host_event_stop();
    if (g_failures != 0) {
        return 1;
    }
    std::printf("consumer_cxx: all answers right\n");
    return 0;
}
