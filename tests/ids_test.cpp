// The packed identifiers: the worked values hold at compile time and at run
// time, and the bits that do not fit a field are lost the way the system
// loses them.
#include <gtest/gtest.h>

#include <dm_lib_pd/dm_ids.h>

namespace {

// Worked values, checked by the compiler.
static_assert(dm_node_make(1, 3) == 0x01003000);
static_assert(dm_get_phyid_from_gslot(0x423) == 0x02043000);
static_assert(dm_get_gslot_from_lslot(1, 3, 0) == 3);
static_assert(dm_get_gslot_from_lslot(2, 3, 0) == 35);
static_assert(dm_get_gslot_from_lslot(2, 3, 1) == 1059);
static_assert(dm_get_gslot_from_lslot(0, 3, 0) == 3 && dm_get_gslot_from_lslot(3, 3, 0) == 3);
static_assert(dm_phyid_make(1, 3, 1, 10) == 0x0100320A);
static_assert(dm_lport_phyid_make(1, 10) == 0x20A);
static_assert(dm_slot_lport_phyid(1, 3, 5) == 0x06010305);
static_assert(dm_slot_lport_phyid(0, 3, 5) == 0x06000305);
static_assert(dm_mod_port_phyid(43, 10) == 0x07002B0A);
static_assert(dm_unit_port_phyid(1, 3, 1, 10) == 0x0804310A);
static_assert(dm_unit_port_phyid(0, 3, 1, 10) == 0x0800310A);
static_assert(dm_sysport_make(1, 3, 1, 10) == 690);

TEST(Ids, CardAndSlotConvertersRoundTrip)
{
    EXPECT_EQ(dm_get_gslot_from_phyid(0x02043000), 1059);
    EXPECT_EQ(dm_get_phyid_from_gslot(dm_get_gslot_from_phyid(0x02043000)), 0x02043000);
    EXPECT_EQ(dm_get_devid_from_gslot(35), 2);
    EXPECT_EQ(dm_get_lslot_from_gslot(35), 3);
    EXPECT_EQ(dm_get_sslot_from_gslot(1059), 1);
    // Slot and sub-slot above 31 lose bit 5 on the way to a gslot.
    EXPECT_EQ(dm_get_gslot_from_phyid(dm_node_make(1, 35)), 3);
    EXPECT_EQ(dm_get_gslot_from_lslot(1, 3, 33), (1 << 10) | 3);
}

TEST(Ids, PortTableKeysDropWhatDoesNotFit)
{
    // unit 9 of a unit_port_phyid keeps only its low three bits in a dm_phyid.
    EXPECT_EQ(dm_phyid_from_unit_port_phyid(dm_unit_port_phyid(1, 3, 9, 10)),
              dm_phyid_make(1, 3, 1, 10));
    EXPECT_EQ(dm_lport_phyid_make(9, 10), dm_lport_phyid_make(1, 10));
    // A chip port above 255 fits a dm_phyid and an lport_phyid, not a form-8 phyid.
    EXPECT_EQ(dm_phyid_make(1, 3, 1, 300) & 0x1FF, 300);
    EXPECT_EQ(dm_lport_phyid_port(dm_lport_phyid_make(1, 300)), 300);
    EXPECT_NE(dm_unit_port_port(dm_unit_port_phyid(1, 3, 1, 300)), 300);
    // The node of a mod_port_phyid's chip supplies device and slot, never the sub-slot.
    EXPECT_EQ(dm_phyid_from_node_unit(0x02043000, 1, 0x07002B0A), 0x0200320A);
    EXPECT_EQ(dm_mod_port_chipid(0x07002B0A), 43);
    EXPECT_EQ(dm_mod_port_port(0x07002B0A), 10);
    EXPECT_EQ(dm_phyid_form(static_cast<int>(0xF0000000u)), 0xF0);
}

}  // namespace
