// The port getters as an application calls them: what the scripted port
// scenario does not show, that is the diagnostics of a miss, the chip-ID and
// kernel fallbacks with their warnings, the cutting of identifier fields,
// the local-port answers and the card port count.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "dm_test_env.h"
#include <dm_lib_pd/dm_ids.h>
#include <dm_lib_pd/dm_port_lookup.h>

namespace {

constexpr int kChip0 = 43;  // chip IDs of units 0 and 1 of this card, slot 3
constexpr int kChip1 = 44;

using dmtest::count;

// The phyid a getter writes through its last argument, or -1 when it fails.
template <class Fn>
int answer(Fn getter)
{
    int phyid = 0;
    return getter(&phyid) == 0 ? phyid : -1;
}

dp_lib_port_t port(int dev, int slot, int unit, int cport, int lport, int ifx, int lsm_key)
{
    dp_lib_port_t p = dmtest::port_record(dev, slot, unit, cport, lport);
    p.ifx = ifx;
    p.type = PORT_TGIGABIT_ETHERNET;
    p.lsm_key = lsm_key;
    return p;
}

// This card is device 1, slot 3, chips 43 and 44. P is its port on chip 1,
// port 10, without a global chip ID in its record; R sits on device 2 in a
// slot without chip IDs. No "tmp/dm_dev" unless a test makes one.
class PortLookup : public testing::Test {
protected:
    void SetUp() override
    {
        dm_host_set_my_card(dm_node_make(1, 3), 3, 10, DM_TYPE_LC);
        dmtest::alloc_chipids(3, {kChip0, kChip1});
        p_.subcard_node = 0x01043000;
        p_.medium_type = PORT_MEDIUM_COPPER;
        dmtest::send(DP_LIB_MSG_PORT_INFO, p_);
        dmtest::send(DP_LIB_MSG_PORT_INFO, r_);
        dm_host_set_dbg_level(LIB_DBG_WARN);
    }

    dmtest::ScratchDir dir_;
    dp_lib_port_t p_ = port(1, 3, 1, 10, 5, 0x500, 77);
    dp_lib_port_t r_ = port(2, 4, 0, 1, 1, 0x600, 88);
    const int p_mod_ = dm_mod_port_phyid(kChip1, 10);
};

TEST_F(PortLookup, MissesAndTheirDiagnostics)
{
    // A bare dm_phyid and a chip ID nobody owns find nothing; a port nobody
    // sent gives -2 here, and the output stays untouched.
    int node = -7;
    EXPECT_EQ(dm_get_sub_node_from_port_phyid(p_.phyid, &node), -2);
    EXPECT_EQ(dm_get_sub_node_from_port_phyid(dm_mod_port_phyid(99, 10), &node), -2);
    EXPECT_EQ(node, -7);
    EXPECT_FALSE(dm_port_is_on_local_device(r_.ss_phyid));
    EXPECT_TRUE(dm_port_is_on_local_device(dm_unit_port_phyid(1, 3, 9, 10)));  // unit's 3 bits

    // The resolver says nothing of its own for a form it does not take; an
    // index miss is reported by the lookup and again by the getter.
    std::string out =
        dmtest::capture_stdout([&] { dm_get_sub_node_from_port_phyid(0x09000000, &node); });
    EXPECT_EQ(count(out, ">:can not find node!\n"), 1u) << out;
    out = dmtest::capture_stdout(
        [&] { dm_get_sub_node_from_port_phyid(dm_slot_lport_phyid(1, 9, 9), &node); });
    EXPECT_EQ(count(out, ">:can not find node!\n"), 2u) << out;
}

TEST_F(PortLookup, ChipIdsComeFromTheAllocation)
{
    // No chip ID anywhere: a failure, with the rest of the record filled in.
    dm_port_t got = {};
    got.g_chipid = -1;
    EXPECT_EQ(dm_get_pinfo_by_phyid(r_.ss_phyid, &got), -1);
    EXPECT_EQ(got.g_chipid, 0);
    EXPECT_EQ(got.devid, 2);
    int chipid = 0, cport = 0;
    const std::string out = dmtest::capture_stdout(
        [&] { EXPECT_EQ(dm_get_chipid_port_from_phyid(r_.ss_phyid, &chipid, &cport), -1); });
    EXPECT_EQ(count(out, ">:dm_get_chipid_from_unit_node = -3!\n"), 1u) << out;

    // Device, slot, unit and chip port are cut to their fields (device 65,
    // unit 9, port 512 + 10); device, slot and lport are not (slot 256 + 3
    // spills into the device byte).
    EXPECT_EQ(answer([](int *p) { return dm_get_phyid_by_slot_unit_port(65, 3, 9, 512 + 10, p); }),
              p_mod_);
    EXPECT_EQ(answer([](int *p) { return dm_get_phyid_by_slot_lport(0, 256 + 3, 5, p); }), p_mod_);
    EXPECT_EQ(answer([](int *p) { return dm_get_phyid_by_slot_unit_port(2, 4, 0, 1, p); }),
              -1);  // no chip ID
    EXPECT_EQ(answer([](int *p) { return dm_get_phyid_by_slot_unit_port(1, 3, 5, 10, p); }), -1);
}

TEST_F(PortLookup, InterfaceIndexComesFromTheKernelWhenTheTableLacksIt)
{
    dp_lib_port_t q = port(1, 3, 0, 3, 8, 0, 78);
    q.type = PORT_GIGABIT_ETHERNET;
    dmtest::send(DP_LIB_MSG_PORT_INFO, q);

    // No device file: the reduced record still comes, with ifx 0; the
    // interface-index getter fails and leaves the record's value.
    dm_port_t got = {};
    int ifindex = -1;
    std::string out = dmtest::capture_stdout([&] {
        EXPECT_EQ(dm_get_pinfo_by_phyid(q.ss_phyid, &got), 0);
        EXPECT_EQ(dm_get_ifindex_from_phyid(q.ss_phyid, &ifindex), -1);
    });
    EXPECT_EQ(got.ifx, 0);
    EXPECT_EQ(ifindex, 0);
    EXPECT_EQ(count(out, ">:dm_kernel_get_ifx_from_port_info fail(ret:-1, ifx:0x0)!\n"), 1u) << out;
    EXPECT_EQ(count(out, ">:dm_kernel_get_ifx_from_port_info fail(phyid:0x6010308)\n"), 1u) << out;

    dir_.make_dev_file();
    dm_host_kdev_attach(true);
    dm_host_kdev_set_ifx(78, 7, 0x900);
    dm_host_kdev_set_lsm_key(0, 77);
    const unsigned long asked = dm_host_kdev_requests();
    ASSERT_EQ(dm_get_ifindex_from_phyid(dm_unit_port_phyid(1, 3, 0, 3), &ifindex), 0);
    EXPECT_EQ(ifindex, 0x900);
    // A port the table can answer for never reaches the driver.
    int phyid = 0;
    ASSERT_EQ(dm_get_ifindex_from_phyid(p_.ss_phyid, &ifindex), 0);
    ASSERT_EQ(dm_get_phyid_from_ifx(0x500, &phyid), 0);
    EXPECT_EQ(dm_host_kdev_requests(), asked + 1);

    // Interface index 0 is not refused: it goes by the driver's key.
    ASSERT_EQ(dm_get_phyid_from_ifx(0, &phyid), 0);
    EXPECT_EQ(phyid, p_mod_);
    out = dmtest::capture_stdout([&] {
        EXPECT_EQ(dm_get_phyid_from_ifx(0x903, &phyid), -1);  // the driver does not know it
        EXPECT_EQ(dm_get_phyid_from_ifx(0x600, &phyid), -1);  // R has no chip ID
    });
    EXPECT_EQ(count(out, ">:fail to get data from kernel.\r\n"), 2u) << out;
    EXPECT_EQ(count(out, ">:fail to get phyid!\n"), 1u) << out;
    EXPECT_EQ(phyid, p_mod_);
}

TEST_F(PortLookup, LocalPhyidsAnswerFromTheLocalPortTable)
{
    // This card's own port list says something else about the same port.
    dp_lib_lport_t lport = {};
    lport.lport_phyid = dm_lport_phyid_make(1, 10);
    lport.medium_type = PORT_MEDIUM_FIBER;
    lport.type = PORT_HUGIGABIT_ETHERNET;
    dmtest::send_lports({lport});

    int medium = -1, type = -1;
    ASSERT_EQ(dm_get_port_medium_type(p_.ss_phyid, &medium), 0);
    ASSERT_EQ(dm_get_port_type(p_mod_, &type), 0);
    EXPECT_EQ(std::make_pair(medium, type), std::make_pair(1, 2));  // copper, 10G
    const int local = dm_unit_port_phyid(0, 3, 1, 10);  // the same port, as a local phyid
    ASSERT_EQ(dm_get_port_medium_type(local, &medium), 0);
    ASSERT_EQ(dm_get_port_type(local, &type), 0);
    EXPECT_EQ(std::make_pair(medium, type), std::make_pair(0, 4));  // fibre, 100G
    const std::string out =
        dmtest::capture_stdout([&] { EXPECT_EQ(dm_get_port_type(0x09000001, &type), -1); });
    EXPECT_EQ(count(out, ">:invalid port phyid!\n"), 1u) << out;
}

TEST_F(PortLookup, CardPortCountOfAnUndescribedCardType)
{
    dm_host_set_card(dm_node_make(1, 5), 79, 79, DM_TYPE_LC);  // a type never described
    const std::string out =
        dmtest::capture_stdout([&] { EXPECT_EQ(dm_get_card_port_num(dm_node_make(1, 5)), -1); });
    EXPECT_EQ(count(out, ">:invalid card type(79)!\n"), 1u) << out;
}

}  // namespace
