// The port getters as an application calls them: every phyid form, the
// interface index, the chip-ID and kernel fallbacks, the local-port answers
// and the card port count.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "dm_test_env.h"
#include <dm_lib_pd/dm_ids.h>
#include <dm_lib_pd/dm_port_lookup.h>

namespace {

constexpr int kMySlot = 3;
constexpr int kChipUnit0 = 43;
constexpr int kChipUnit1 = 44;

bool contains(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}

size_t count(const std::string &text, const std::string &part)
{
    size_t n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++n;
    }
    return n;
}

// Batch chip-ID data for one slot, one ID per unit.
void alloc_chipids(int gslot, const std::vector<uint16_t> &ids)
{
    struct {
        addr_lib_sync_head_t head;
        chipid_slot_t slot;
    } m = {};
    m.head.len = static_cast<int32_t>(sizeof m);
    m.head.type = ADDR_LIB_BS_SYNC;
    m.head.data_num = 1;
    m.slot.status = CHIPID_VALID;
    m.slot.gslot = gslot;
    m.slot.idnum_per_unit = 1;
    m.slot.id_num = static_cast<uint16_t>(ids.size());
    std::copy(ids.begin(), ids.end(), m.slot.id);
    ASSERT_TRUE(dm_host_addr_data(&m, static_cast<int>(sizeof m)));
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
    p.type = PORT_GIGABIT_ETHERNET;
    p.lsm_key = lsm_key;
    return p;
}

// This card is device 1, slot 3, with chip IDs 43 (unit 0) and 44 (unit 1).
// P is one of its ports, known to the table under an interface index; R sits
// on device 2 in a slot without chip IDs.
class PortLookup : public testing::Test {
protected:
    void SetUp() override
    {
        dm_host_set_my_card(dm_node_make(1, kMySlot), kMySlot, 10, DM_TYPE_LC);
        alloc_chipids(kMySlot, {kChipUnit0, kChipUnit1});
        p_ = port(1, kMySlot, 1, 10, 5, 0x500, 77);
        p_.subcard_node = 0x01043000;
        p_.port_switch = 1;
        p_.medium_type = PORT_MEDIUM_COPPER;
        p_.type = PORT_TGIGABIT_ETHERNET;
        dmtest::send(DP_LIB_MSG_PORT_INFO, p_);
        r_ = port(2, 4, 0, 1, 1, 0x600, 88);
        dmtest::send(DP_LIB_MSG_PORT_INFO, r_);
        dm_host_set_dbg_level(LIB_DBG_WARN);
    }

    dmtest::ScratchDir dir_;  // no "tmp/dm_dev" unless a test makes one
    dp_lib_port_t p_;
    dp_lib_port_t r_;
    const int p_mod_ = dm_mod_port_phyid(kChipUnit1, 10);
};

TEST_F(PortLookup, EveryGlobalPhyidFormFindsThePort)
{
    const int forms[] = {
        p_.ss_phyid,                          // through the slot_lport_phyid index
        p_mod_,                               // through the chip-ID allocation
        dm_unit_port_phyid(1, kMySlot, 1, 10),
        dm_unit_port_phyid(1, kMySlot, 9, 10),  // only three bits of the unit count
    };
    for (const int phyid : forms) {
        SCOPED_TRACE(phyid);
        int node = 0, lport = 0, unit = 0, cport = 0, sub = 0;
        ASSERT_EQ(dm_get_node_lport_from_phyid(phyid, &node, &lport), 0);
        EXPECT_EQ(node, p_.node);
        EXPECT_EQ(lport, 5);
        ASSERT_EQ(dm_get_unit_port_from_phyid(phyid, &unit, &cport), 0);
        EXPECT_EQ(unit, 1);
        EXPECT_EQ(cport, 10);
        ASSERT_EQ(dm_get_subcard_node_by_phyid(phyid, &sub), 0);
        EXPECT_EQ(sub, 0x01043000);
        sub = 0;
        ASSERT_EQ(dm_get_sub_node_from_port_phyid(phyid, &sub), 0);
        EXPECT_EQ(sub, 0x01043000);
        bool medium_switch = false;
        ASSERT_EQ(dm_get_port_medium_switch(phyid, &medium_switch), 0);
        EXPECT_TRUE(medium_switch);
        EXPECT_TRUE(dm_port_is_on_local_device(phyid));
    }
    EXPECT_FALSE(dm_port_is_on_local_device(r_.ss_phyid));

    // A bare dm_phyid, a chip ID nobody owns, a port nobody sent.
    int node = -7, lport = -7;
    EXPECT_EQ(dm_get_node_lport_from_phyid(p_.phyid, &node, &lport), -1);
    EXPECT_EQ(dm_get_node_lport_from_phyid(dm_mod_port_phyid(99, 10), &node, &lport), -1);
    EXPECT_EQ(dm_get_sub_node_from_port_phyid(dm_slot_lport_phyid(1, 9, 9), &node), -2);
    EXPECT_EQ(node, -7);  // outputs untouched on failure
    EXPECT_EQ(lport, -7);

    // The resolver says nothing of its own for a form it does not take; a
    // miss in an index is reported by the lookup and again by the getter.
    std::string out = dmtest::capture_stdout(
        [&] { dm_get_node_lport_from_phyid(0x09000000, &node, &lport); });
    EXPECT_EQ(count(out, ">:can not find node!\n"), 1u) << out;
    out = dmtest::capture_stdout(
        [&] { dm_get_node_lport_from_phyid(dm_slot_lport_phyid(1, 9, 9), &node, &lport); });
    EXPECT_EQ(count(out, ">:can not find node!\n"), 2u) << out;
}

TEST_F(PortLookup, ReducedRecordTakesTheChipIdFromTheAllocation)
{
    dm_port_t got = {};
    ASSERT_EQ(dm_get_pinfo_by_phyid(dm_unit_port_phyid(1, kMySlot, 1, 10), &got), 0);
    EXPECT_EQ(got.ifx, 0x500);
    EXPECT_EQ(got.phyid, p_.ss_phyid);  // always the slot_lport_phyid
    EXPECT_EQ(got.node, p_.node);
    EXPECT_EQ(got.devid, 1);
    EXPECT_EQ(got.slotid, kMySlot);
    EXPECT_EQ(got.portid, 5);
    EXPECT_EQ(got.g_chipid, kChipUnit1);  // the record holds 0
    EXPECT_EQ(got.l_chipid, 1);
    EXPECT_EQ(got.chip_portid, 10);

    dm_port_t by_ifx = {};
    ASSERT_EQ(dm_get_pinfo_by_ifx(0x500, &by_ifx), 0);
    EXPECT_EQ(by_ifx.phyid, got.phyid);
    EXPECT_EQ(by_ifx.g_chipid, kChipUnit1);

    // Without a chip ID anywhere: a failure, with the rest filled in.
    dm_port_t r = {};
    r.g_chipid = -1;
    EXPECT_EQ(dm_get_pinfo_by_phyid(r_.ss_phyid, &r), -1);
    EXPECT_EQ(r.g_chipid, 0);
    EXPECT_EQ(r.devid, 2);
    EXPECT_EQ(r.portid, 1);
    EXPECT_EQ(dm_get_pinfo_by_ifx(0x600, &r), -1);

    EXPECT_TRUE(dm_port_is_on_local_switch(0x500));
    EXPECT_FALSE(dm_port_is_on_local_switch(0x600));
    EXPECT_FALSE(dm_port_is_on_local_switch(0x999));
}

TEST_F(PortLookup, ChipIdAndModPortPhyid)
{
    int chipid = 0, cport = 0;
    // Form 7 is answered from its bits alone, port or no port.
    ASSERT_EQ(dm_get_chipid_port_from_phyid(0x07FFFF01, &chipid, &cport), 0);
    EXPECT_EQ(chipid, 0xFFFF);
    EXPECT_EQ(cport, 1);
    ASSERT_EQ(dm_get_chipid_port_from_phyid(p_.ss_phyid, &chipid, &cport), 0);
    EXPECT_EQ(chipid, kChipUnit1);
    EXPECT_EQ(cport, 10);
    const std::string out = dmtest::capture_stdout(
        [&] { EXPECT_EQ(dm_get_chipid_port_from_phyid(r_.ss_phyid, &chipid, &cport), -1); });
    EXPECT_TRUE(contains(out, ">:dm_get_chipid_from_unit_node = -3!\n")) << out;

    int phyid = 0;
    ASSERT_EQ(dm_get_phyid_by_slot_unit_port(1, kMySlot, 1, 10, &phyid), 0);
    EXPECT_EQ(phyid, 0x07002C0A);
    // Each value is cut to its field: port 512 + 10, unit 9, device 65.
    phyid = 0;
    ASSERT_EQ(dm_get_phyid_by_slot_unit_port(65, kMySlot, 9, 512 + 10, &phyid), 0);
    EXPECT_EQ(phyid, p_mod_);
    phyid = 0;
    ASSERT_EQ(dm_get_phyid_by_slot_lport(1, kMySlot, 5, &phyid), 0);
    EXPECT_EQ(phyid, p_mod_);
    // Not cut: slot 256 + 3 spills into the device byte and names device 1.
    phyid = 0;
    ASSERT_EQ(dm_get_phyid_by_slot_lport(0, 256 + kMySlot, 5, &phyid), 0);
    EXPECT_EQ(phyid, p_mod_);
    EXPECT_EQ(dm_get_phyid_by_slot_lport(1, kMySlot, 6, &phyid), -1);
    EXPECT_EQ(dm_get_phyid_by_slot_unit_port(2, 4, 0, 1, &phyid), -1);  // no chip ID

    phyid = 0;
    ASSERT_EQ(dm_get_phyid_from_ifx(0x500, &phyid), 0);
    EXPECT_EQ(phyid, p_mod_);
}

TEST_F(PortLookup, InterfaceIndexComesFromTheKernelWhenTheTableLacksIt)
{
    dp_lib_port_t q = port(1, kMySlot, 0, 3, 8, 0, 78);
    q.g_chipid = kChipUnit0;
    dmtest::send(DP_LIB_MSG_PORT_INFO, q);

    // No device file: the reduced record still comes, with ifx 0; the
    // interface-index getter fails and leaves the record's value.
    dm_port_t got = {};
    std::string out = dmtest::capture_stdout([&] {
        EXPECT_EQ(dm_get_pinfo_by_phyid(q.ss_phyid, &got), 0);
    });
    EXPECT_EQ(got.ifx, 0);
    EXPECT_TRUE(contains(out, ">:open fail(No such file or directory)\r\n")) << out;
    EXPECT_TRUE(contains(out, ">:dm_kernel_get_ifx_from_port_info fail(ret:-1, ifx:0x0)!\n")) << out;
    int ifindex = -1;
    out = dmtest::capture_stdout([&] { EXPECT_EQ(dm_get_ifindex_from_phyid(q.ss_phyid, &ifindex), -1); });
    EXPECT_EQ(ifindex, 0);
    EXPECT_TRUE(contains(out, ">:dm_kernel_get_ifx_from_port_info fail(phyid:0x6010308)\n")) << out;

    // The driver knows the port by its interface manager's key.
    dir_.make_dev_file();
    dm_host_kdev_attach(true);
    dm_host_kdev_set_ifx(78, 7, 0x900);
    const unsigned long before = dm_host_kdev_requests();
    ASSERT_EQ(dm_get_pinfo_by_phyid(q.ss_phyid, &got), 0);
    EXPECT_EQ(got.ifx, 0x900);
    ASSERT_EQ(dm_get_ifindex_from_phyid(dm_unit_port_phyid(1, kMySlot, 0, 3), &ifindex), 0);
    EXPECT_EQ(ifindex, 0x900);
    EXPECT_EQ(dm_host_kdev_requests(), before + 2);

    // A port the table can answer for never reaches the driver.
    ASSERT_EQ(dm_get_ifindex_from_phyid(p_.ss_phyid, &ifindex), 0);
    EXPECT_EQ(ifindex, 0x500);
    ASSERT_EQ(dm_get_pinfo_by_phyid(p_.ss_phyid, &got), 0);
    int phyid = 0;
    ASSERT_EQ(dm_get_phyid_from_ifx(0x500, &phyid), 0);
    EXPECT_EQ(dm_host_kdev_requests(), before + 2);

    // An interface index the table lacks: the driver names the port's key.
    dm_host_kdev_set_lsm_key(0x901, 78);
    ASSERT_EQ(dm_get_phyid_from_ifx(0x901, &phyid), 0);
    EXPECT_EQ(phyid, dm_mod_port_phyid(kChipUnit0, 3));
    dm_host_kdev_set_lsm_key(0, 77);  // 0 goes straight to the driver
    ASSERT_EQ(dm_get_phyid_from_ifx(0, &phyid), 0);
    EXPECT_EQ(phyid, p_mod_);
    dm_host_kdev_set_lsm_key(0x902, 999);
    out = dmtest::capture_stdout([&] { EXPECT_EQ(dm_get_phyid_from_ifx(0x902, &phyid), -1); });
    EXPECT_EQ(count(out, ">:can not find node!\n"), 4u) << out;
    out = dmtest::capture_stdout([&] { EXPECT_EQ(dm_get_phyid_from_ifx(0x903, &phyid), -1); });
    EXPECT_TRUE(contains(out, ">:fail to get data from kernel.\r\n")) << out;
    // R is in the table but has no chip ID: the driver is asked next.
    out = dmtest::capture_stdout([&] { EXPECT_EQ(dm_get_phyid_from_ifx(0x600, &phyid), -1); });
    EXPECT_TRUE(contains(out, ">:fail to get phyid!\n")) << out;
    EXPECT_EQ(phyid, dm_mod_port_phyid(kChipUnit1, 10));
}

TEST_F(PortLookup, MediumAndTypeOfGlobalAndLocalPhyids)
{
    // This card's own list says something else about the same port.
    struct {
        dp_lib_my_lport_msg_t head;
        dp_lib_lport_t port;
    } lports = {};
    lports.head.lport_num = 1;
    lports.port.lport_phyid = dm_lport_phyid_make(1, 10);
    lports.port.lport = 5;
    lports.port.medium_type = PORT_MEDIUM_FIBER;
    lports.port.type = PORT_HUGIGABIT_ETHERNET;
    dmtest::send(DP_LIB_MSG_MY_LPORT_CFG, lports);

    int medium = -1, type = -1;
    ASSERT_EQ(dm_get_port_medium_type(p_.ss_phyid, &medium), 0);
    ASSERT_EQ(dm_get_port_type(p_mod_, &type), 0);
    EXPECT_EQ(medium, PORT_MEDIUM_COPPER);
    EXPECT_EQ(type, PORT_TGIGABIT_ETHERNET);

    const int local = dm_unit_port_phyid(0, kMySlot, 1, 10);
    ASSERT_EQ(dm_get_port_medium_type(local, &medium), 0);
    ASSERT_EQ(dm_get_port_type(local, &type), 0);
    EXPECT_EQ(medium, PORT_MEDIUM_FIBER);
    EXPECT_EQ(type, PORT_HUGIGABIT_ETHERNET);
    EXPECT_EQ(dm_get_port_type(dm_unit_port_phyid(0, kMySlot, 1, 11), &type), -1);

    const std::string out = dmtest::capture_stdout([&] { EXPECT_EQ(dm_get_port_type(0x09000001, &type), -1); });
    EXPECT_TRUE(contains(out, ">:invalid port phyid!\n")) << out;
    EXPECT_EQ(dm_get_port_medium_type(dm_slot_lport_phyid(1, 9, 9), &medium), -1);
}

TEST_F(PortLookup, CardPortCountComesFromTheCardType)
{
    dp_lib_card_type_info_t card = {};
    card.card_type = 77;
    card.port_num = 48;
    dmtest::send(DP_LIB_MSG_CARD_CFG, card);
    dm_host_set_card(dm_node_make(1, 4), 77, 77, DM_TYPE_LC);
    dm_host_set_card(dm_node_make(1, 5), 78, 78, DM_TYPE_LC);

    dm_host_set_dbg_level(LIB_DBG_VERBOSE);
    std::string out = dmtest::capture_stdout([&] { EXPECT_EQ(dm_get_card_port_num(dm_node_make(1, 4)), 48); });
    EXPECT_TRUE(contains(out, ">:node = 1004000!\n")) << out;
    EXPECT_TRUE(contains(out, ">:port_num = 48\n")) << out;
    out = dmtest::capture_stdout([&] { EXPECT_EQ(dm_get_card_port_num(dm_node_make(1, 5)), -1); });
    EXPECT_TRUE(contains(out, ">:invalid card type(78)!\n")) << out;
    out = dmtest::capture_stdout([&] { EXPECT_EQ(dm_get_card_port_num(dm_node_make(1, 6)), -1); });
    EXPECT_TRUE(contains(out, ">:can not find node!\n")) << out;
}

TEST_F(PortLookup, MissingOutputsAreRefused)
{
    int a = 0;
    dm_port_t pinfo;
    const std::string out = dmtest::capture_stdout([&] {
        EXPECT_EQ(dm_get_pinfo_by_ifx(0x500, nullptr), -1);
        EXPECT_EQ(dm_get_pinfo_by_ifx(0, &pinfo), -1);
        EXPECT_EQ(dm_get_phyid_from_ifx(0x500, nullptr), -1);
        EXPECT_EQ(dm_get_chipid_port_from_phyid(p_.ss_phyid, &a, nullptr), -1);
        EXPECT_EQ(dm_get_chipid_port_from_phyid(p_.ss_phyid, nullptr, &a), -1);
        EXPECT_EQ(dm_get_pinfo_by_phyid(p_.ss_phyid, nullptr), -1);
        EXPECT_EQ(dm_get_subcard_node_by_phyid(p_.ss_phyid, nullptr), -1);
        EXPECT_EQ(dm_get_ifindex_from_phyid(p_.ss_phyid, nullptr), -1);
        EXPECT_EQ(dm_get_unit_port_from_phyid(p_.ss_phyid, nullptr, &a), -1);
        EXPECT_EQ(dm_get_node_lport_from_phyid(p_.ss_phyid, &a, nullptr), -1);
        EXPECT_EQ(dm_get_sub_node_from_port_phyid(p_.ss_phyid, nullptr), -1);
        EXPECT_EQ(dm_get_port_medium_switch(p_.ss_phyid, nullptr), -1);
        EXPECT_EQ(dm_get_port_medium_type(p_.ss_phyid, nullptr), -1);
        EXPECT_EQ(dm_get_port_type(p_.ss_phyid, nullptr), -1);
        EXPECT_EQ(dm_get_phyid_by_slot_unit_port(1, kMySlot, 1, 10, nullptr), -1);
        EXPECT_EQ(dm_get_phyid_by_slot_lport(1, kMySlot, 5, nullptr), -1);
    });
    EXPECT_EQ(count(out, ">:param error!\n"), 16u) << out;
}

}  // namespace
