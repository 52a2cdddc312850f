// Local phyids on a small chassis: this card is device 1, slot 3; its port
// lport 5 sits on unit 0, chip port 12, a chip with global chip ID 0x10; the
// port table and the local port table (key 0x00C) both know the port. The
// worked example and the edges of each conversion are in the scripted
// configuration scenario; here, what only a second device shows and the
// refusals' texts.
#include <string>

#include "dm_test_env.h"
#include <dm_lib_pd/dm_ids.h>
#include <dm_lib_pd/dm_lphyid.h>

namespace {

using dmtest::has;

void add_port(int devid, int lport, int chip_port, int chipid)
{
    dp_lib_port_t p = dmtest::port_record(devid, 3, 0, chip_port, lport);
    p.ifx = 0x2000 + (devid << 8) + lport;  // known, so the kernel is never asked
    p.g_chipid = chipid;
    p.lsm_key = p.ifx;
    dmtest::send(DP_LIB_MSG_PORT_INFO, p);
}

void build_chassis()
{
    dm_host_set_dbg_level(LIB_DBG_WARN);
    dm_host_set_my_card(dm_node_make(1, 3), 3, 0x51, DM_TYPE_LC);
    dmtest::alloc_chipids(3, {0x10}, 1, 0x51);
    add_port(1, 5, 12, 0x10);
    dp_lib_lport_t lport = {};
    lport.lport_phyid = 0x00C;
    lport.lport = 5;
    dmtest::send_lports({lport});
}

}  // namespace

// The device id is ORed in, not written; and each refusal says why.
TEST(Lphyid, DeviceIdIsOredInAndRefusalsSayWhy)
{
    build_chassis();
    add_port(3, 5, 7, 0x20);  // device 3's port in the same slot
    EXPECT_EQ(dm_get_phyid_from_lphyid(0x06020305), 0x07002007);  // looked up as 0x06030305

    bool global = false;
    int unit = -1, port = -1;
    dp_lib_lport_t info;
    std::string out = dmtest::capture_stdout([&] {
        EXPECT_EQ(dm_phyid_is_global(0x05000000, &global), -1);
        EXPECT_EQ(dm_get_lphyid_from_unit_port(0, 13), 0);
        EXPECT_EQ(dm_get_unit_port_from_lphyid(0x0800500C, &unit, &port), -1);
        EXPECT_EQ(dm_local_get_pinfo_by_lphyid(0x05000000, &info), -1);
    });
    for (const char *diag : {"invalid port phyid\n", "lport not exist!\n",
                             "param error slot = 5!\n", "dev_type = 5\n"}) {
        EXPECT_TRUE(has(out, diag)) << diag << " in " << out;
    }

    dm_host_set_my_card(dm_node_make(0, 3), 3, 0x51, DM_TYPE_LC);  // device id unknown
    out = dmtest::capture_stdout([] { EXPECT_EQ(dm_get_phyid_from_lphyid(0x0800300C), 0); });
    EXPECT_TRUE(has(out, "invalid devid!\n"));
}
