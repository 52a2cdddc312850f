// The port getters as an application calls them: every phyid form, the
// interface index, the chip-ID and kernel fallbacks, the local-port answers
// and the card port count.
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

size_t count(const std::string &text, const std::string &part)
{
    size_t n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++n;
    }
    return n;
}

// The phyid a getter writes through its last argument, or -1 when it fails.
template <class Fn>
int answer(Fn getter)
{
    int phyid = 0;
    return getter(&phyid) == 0 ? phyid : -1;
}

void alloc_chipids(int gslot, const std::vector<uint16_t> &ids)
{
    struct {
        addr_lib_sync_head_t head;
        chipid_slot_t slot;
    } m = {};
    m.head = {static_cast<int32_t>(sizeof m), ADDR_LIB_BS_SYNC, 1};
    m.slot.status = CHIPID_VALID;
    m.slot.gslot = gslot;
    m.slot.idnum_per_unit = 1;
    m.slot.id_num = static_cast<uint16_t>(ids.size());
    std::copy(ids.begin(), ids.end(), m.slot.id);
    dm_host_addr_data(&m, static_cast<int>(sizeof m));
}

dp_lib_port_t port(int dev, int slot, int unit, int cport, int lport, int ifx, int lsm_key)
{
    dp_lib_port_t p = {};
    p.ifx = ifx;
    p.phyid = dm_phyid_make(dev, slot, unit, cport);
    p.ss_phyid = dm_slot_lport_phyid(dev, slot, lport);
    p.node = dm_node_make(dev, slot);
    p.devid = dev;
    p.slotid = slot;
    p.portid = lport;
    p.l_chipid = unit;
    p.chip_portid = cport;
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
        alloc_chipids(3, {kChip0, kChip1});
        p_.subcard_node = 0x01043000;
        p_.port_switch = 1;
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

TEST_F(PortLookup, EveryGlobalPhyidFormFindsThePort)
{
    // Form 6, form 7 (through the chip-ID allocation), form 8, and form 8
    // with unit 9, of which only three bits count.
    for (const int phyid :
         {p_.ss_phyid, p_mod_, dm_unit_port_phyid(1, 3, 1, 10), dm_unit_port_phyid(1, 3, 9, 10)}) {
        SCOPED_TRACE(phyid);
        int node = 0, lport = 0, unit = 0, cport = 0, sub = 0;
        bool medium_switch = false;
        ASSERT_EQ(dm_get_node_lport_from_phyid(phyid, &node, &lport), 0);
        EXPECT_EQ(node, p_.node);
        EXPECT_EQ(lport, 5);
        ASSERT_EQ(dm_get_unit_port_from_phyid(phyid, &unit, &cport), 0);
        EXPECT_EQ(unit * 100 + cport, 110);
        ASSERT_EQ(dm_get_sub_node_from_port_phyid(phyid, &sub), 0);
        EXPECT_EQ(sub, 0x01043000);
        ASSERT_EQ(dm_get_port_medium_switch(phyid, &medium_switch), 0);
        EXPECT_TRUE(medium_switch);
        EXPECT_TRUE(dm_port_is_on_local_device(phyid));
    }
    EXPECT_FALSE(dm_port_is_on_local_device(r_.ss_phyid));

    // A bare dm_phyid and a chip ID nobody owns find nothing; a port nobody
    // sent gives -2 here, and the output stays untouched.
    int node = -7;
    EXPECT_EQ(dm_get_sub_node_from_port_phyid(p_.phyid, &node), -2);
    EXPECT_EQ(dm_get_sub_node_from_port_phyid(dm_mod_port_phyid(99, 10), &node), -2);
    EXPECT_EQ(dm_get_sub_node_from_port_phyid(dm_slot_lport_phyid(1, 9, 9), &node), -2);
    EXPECT_EQ(node, -7);
    EXPECT_EQ(dm_get_sub_node_from_port_phyid(p_.ss_phyid, nullptr), -1);

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
    dm_port_t got = {};
    ASSERT_EQ(dm_get_pinfo_by_phyid(dm_unit_port_phyid(1, 3, 1, 10), &got), 0);
    EXPECT_EQ(got.phyid, p_.ss_phyid);  // always the slot_lport_phyid
    EXPECT_EQ(got.g_chipid, kChip1);    // the record holds 0
    EXPECT_EQ(std::make_pair(got.portid, got.chip_portid), std::make_pair(5, 10));
    ASSERT_EQ(dm_get_pinfo_by_ifx(0x500, &got), 0);
    EXPECT_EQ(got.g_chipid, kChip1);
    EXPECT_EQ(dm_get_pinfo_by_ifx(0, &got), -1);

    // No chip ID anywhere: a failure, with the rest of the record filled in.
    got.g_chipid = -1;
    EXPECT_EQ(dm_get_pinfo_by_phyid(r_.ss_phyid, &got), -1);
    EXPECT_EQ(got.g_chipid, 0);
    EXPECT_EQ(got.devid, 2);
    EXPECT_TRUE(dm_port_is_on_local_switch(0x500));
    EXPECT_FALSE(dm_port_is_on_local_switch(0x600));
    EXPECT_FALSE(dm_port_is_on_local_switch(0x999));

    // Form 7 is answered from its bits alone, port or no port.
    int chipid = 0, cport = 0;
    ASSERT_EQ(dm_get_chipid_port_from_phyid(0x07FFFF01, &chipid, &cport), 0);
    EXPECT_EQ(std::make_pair(chipid, cport), std::make_pair(0xFFFF, 1));
    ASSERT_EQ(dm_get_chipid_port_from_phyid(p_.ss_phyid, &chipid, &cport), 0);
    EXPECT_EQ(std::make_pair(chipid, cport), std::make_pair(kChip1, 10));
    const std::string out = dmtest::capture_stdout(
        [&] { EXPECT_EQ(dm_get_chipid_port_from_phyid(r_.ss_phyid, &chipid, &cport), -1); });
    EXPECT_EQ(count(out, ">:dm_get_chipid_from_unit_node = -3!\n"), 1u) << out;

    // Device, slot, unit and chip port are cut to their fields (device 65,
    // unit 9, port 512 + 10); device, slot and lport are not (slot 256 + 3
    // spills into the device byte).
    EXPECT_EQ(answer([](int *p) { return dm_get_phyid_by_slot_unit_port(1, 3, 1, 10, p); }),
              0x07002C0A);
    EXPECT_EQ(answer([](int *p) { return dm_get_phyid_by_slot_unit_port(65, 3, 9, 512 + 10, p); }),
              p_mod_);
    EXPECT_EQ(answer([](int *p) { return dm_get_phyid_by_slot_lport(1, 3, 5, p); }), p_mod_);
    EXPECT_EQ(answer([](int *p) { return dm_get_phyid_by_slot_lport(0, 256 + 3, 5, p); }), p_mod_);
    EXPECT_EQ(answer([](int *p) { return dm_get_phyid_from_ifx(0x500, p); }), p_mod_);
    EXPECT_EQ(answer([](int *p) { return dm_get_phyid_by_slot_lport(1, 3, 6, p); }), -1);
    EXPECT_EQ(answer([](int *p) { return dm_get_phyid_by_slot_unit_port(2, 4, 0, 1, p); }),
              -1);  // no chip ID
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
    EXPECT_EQ(count(out, ">:open fail(No such file or directory)\r\n"), 2u) << out;
    EXPECT_EQ(count(out, ">:dm_kernel_get_ifx_from_port_info fail(ret:-1, ifx:0x0)!\n"), 1u) << out;
    EXPECT_EQ(count(out, ">:dm_kernel_get_ifx_from_port_info fail(phyid:0x6010308)\n"), 1u) << out;

    dir_.make_dev_file();
    dm_host_kdev_attach(true);
    dm_host_kdev_set_ifx(78, 7, 0x900);
    dm_host_kdev_set_lsm_key(0x901, 78);
    dm_host_kdev_set_lsm_key(0, 77);
    const unsigned long asked = dm_host_kdev_requests();
    ASSERT_EQ(dm_get_pinfo_by_phyid(q.ss_phyid, &got), 0);
    ASSERT_EQ(dm_get_ifindex_from_phyid(dm_unit_port_phyid(1, 3, 0, 3), &ifindex), 0);
    EXPECT_EQ(std::make_pair(got.ifx, ifindex), std::make_pair(0x900, 0x900));
    EXPECT_EQ(dm_host_kdev_requests(), asked + 2);
    // A port the table can answer for never reaches the driver.
    int phyid = 0;
    ASSERT_EQ(dm_get_ifindex_from_phyid(p_.ss_phyid, &ifindex), 0);
    ASSERT_EQ(dm_get_phyid_from_ifx(0x500, &phyid), 0);
    EXPECT_EQ(ifindex, 0x500);
    EXPECT_EQ(dm_host_kdev_requests(), asked + 2);

    // Interface indexes the table lacks (0 included) go by the driver's key.
    ASSERT_EQ(dm_get_phyid_from_ifx(0x901, &phyid), 0);
    EXPECT_EQ(phyid, dm_mod_port_phyid(kChip0, 3));
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

TEST_F(PortLookup, MediumAndTypeOfGlobalAndLocalPhyids)
{
    // This card's own port list says something else about the same port.
    struct {
        dp_lib_my_lport_msg_t head;
        dp_lib_lport_t port;
    } lports = {};
    lports.head.lport_num = 1;
    lports.port.lport_phyid = dm_lport_phyid_make(1, 10);
    lports.port.medium_type = PORT_MEDIUM_FIBER;
    lports.port.type = PORT_HUGIGABIT_ETHERNET;
    dmtest::send(DP_LIB_MSG_MY_LPORT_CFG, lports);

    int medium = -1, type = -1;
    ASSERT_EQ(dm_get_port_medium_type(p_.ss_phyid, &medium), 0);
    ASSERT_EQ(dm_get_port_type(p_mod_, &type), 0);
    EXPECT_EQ(std::make_pair(medium, type), std::make_pair(1, 2));  // copper, 10G
    const int local = dm_unit_port_phyid(0, 3, 1, 10);
    ASSERT_EQ(dm_get_port_medium_type(local, &medium), 0);
    ASSERT_EQ(dm_get_port_type(local, &type), 0);
    EXPECT_EQ(std::make_pair(medium, type), std::make_pair(0, 4));  // fibre, 100G
    EXPECT_EQ(dm_get_port_type(dm_unit_port_phyid(0, 3, 1, 11), &type), -1);
    const std::string out =
        dmtest::capture_stdout([&] { EXPECT_EQ(dm_get_port_type(0x09000001, &type), -1); });
    EXPECT_EQ(count(out, ">:invalid port phyid!\n"), 1u) << out;
}

TEST_F(PortLookup, CardPortCountComesFromTheCardType)
{
    dp_lib_card_type_info_t card = {};
    card.card_type = 77;
    card.port_num = 48;
    dmtest::send(DP_LIB_MSG_CARD_CFG, card);
    dm_host_set_card(dm_node_make(1, 4), 77, 77, DM_TYPE_LC);
    dm_host_set_card(dm_node_make(1, 5), 78, 78, DM_TYPE_LC);
    EXPECT_EQ(dm_get_card_port_num(dm_node_make(1, 4)), 48);
    std::string out =
        dmtest::capture_stdout([&] { EXPECT_EQ(dm_get_card_port_num(dm_node_make(1, 5)), -1); });
    EXPECT_EQ(count(out, ">:invalid card type(78)!\n"), 1u) << out;
    out = dmtest::capture_stdout([&] { EXPECT_EQ(dm_get_card_port_num(dm_node_make(1, 6)), -1); });
    EXPECT_EQ(count(out, ">:can not find node!\n"), 1u) << out;
}

}  // namespace
