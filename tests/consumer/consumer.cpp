// A C++ application built against an installed dm_lib_pd: the identifier
// encoders are constant expressions, and a port record sent through the host
// stand-in is found again by its unit_port_phyid.
#include <cstdio>

#include <dm_lib_pd/dm_lib_pd.h>

#include "dm_host_ctl.h"

// The encoders are constant expressions in C++.
static_assert(dm_mod_port_phyid(41, 10) == 0x0700290a, "mod_port_phyid");
static_assert(dm_slot_lport_phyid(1, 3, 5) == 0x06010305, "slot_lport_phyid");
static_assert(dm_phyid_form(dm_unit_port_phyid(1, 3, 1, 10)) == DM_PHYID_FORM_UNIT_PORT, "form");

int main()
{
    if (dm_host_run_init() != 0) {
        std::fprintf(stderr, "consumer_cxx: the host could not initialise the library\n");
        return 1;
    }
    dp_lib_port_t port{};
    port.ifx = 0x2005;
    port.phyid = dm_phyid_make(2, 6, 0, 17);
    port.ss_phyid = dm_slot_lport_phyid(2, 6, 9);
    port.devid = 2;
    port.slotid = 6;
    port.portid = 9;
    port.chip_portid = 17;
    dm_host_send_msg(DP_LIB_MSG_PORT_INFO, &port, static_cast<int>(sizeof port));
    int ifindex = 0;
    const bool ok = dm_get_ifindex_from_phyid(dm_unit_port_phyid(2, 6, 0, 17), &ifindex) == 0 &&
                    ifindex == 0x2005;
    dm_host_event_stop();
    std::printf("consumer_cxx: %s\n", ok ? "all answers right" : "wrong answer");
    return ok ? 0 : 1;
}
