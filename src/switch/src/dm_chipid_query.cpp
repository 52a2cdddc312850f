// Chip-ID queries: the allocation mirror's answers by node, unit, device and
// chip ID (read without a lock, dm_chipid_table.h), the reserved IDs, and the
// fixed chip IDs of the Dune-family chips and the fixed system port numbers
// (pure arithmetic on a chip's or port's position, both ways).
#include "dm_chipid_query.h"

#include "dm_chipid_table.h"
#include "dm_diag.h"
#include <dm_lib_pd/dm_ids.h>

namespace {

constexpr int kDevMin = 1;
constexpr int kDevMax = 2;
constexpr int kSlotMax = 31;
constexpr int kGslotNum = kDmGslotNum;
constexpr int kChipidNum = kDmChipidNum;
constexpr int kChipidMax = 2047;

// Eight fixed IDs per slot, the first after the invalid ID 25 and the
// reserved ID 26.
constexpr int kDuneIdsPerSlot = 8;
constexpr int kDuneFirstChipid = 27;

constexpr int kSystemInvalidChipid = 25;
constexpr int kSystemReservedChipid = 26;
constexpr int kZoneReservedLower = 1;
constexpr int kZoneReservedUpper = 8;

constexpr int kSysportUnitMax = 7;
constexpr int kSysportPortMax = 31;
constexpr int kSysportMax = 0x4FFF;
constexpr int kSysportPerDev = DM_SYSPORT_PER_DEV;
constexpr int kSysportPerSlot = DM_SYSPORT_PER_SLOT;
constexpr int kSysportPerUnit = DM_SYSPORT_PER_UNIT;

bool dm_in_range(int v, int lo, int hi) { return v >= lo && v <= hi; }

// The unit is not range-checked by the caller; the sum wraps rather than
// overflows so that any unit gives a defined (if meaningless) answer.
constexpr int dm_dune_chipid(int gslot, int unit)
{
    return static_cast<int>(static_cast<unsigned>(kDuneIdsPerSlot * gslot + kDuneFirstChipid) +
                            static_cast<unsigned>(unit));
}
static_assert(dm_dune_chipid(dm_get_gslot_from_lslot(1, 0, 0), 0) == 27);
static_assert(dm_dune_chipid(dm_get_gslot_from_lslot(1, 3, 0), 1) == 52);
static_assert(dm_dune_chipid(dm_get_gslot_from_lslot(2, 3, 0), 0) == 307);
static_assert(dm_dune_chipid(dm_get_gslot_from_lslot(2, 29, 0), 7) == 522);
static_assert(dm_sysport_make(1, 3, 1, 10) == 690);

// What a node-based query reads of a slot's record: a whole copy, or only
// what a chip's first chip ID needs (dm_chipid_first_of).
void addr_lib_read_slot(int gslot, int, chipid_slot_t *slot) { *slot = dm_chipid_slot_copy(gslot); }
void addr_lib_read_slot(int gslot, int unit, dm_chipid_first *slot)
{
    dm_chipid_first_of(gslot, unit, slot);
}
int addr_lib_units_of(const chipid_slot_t &slot) { return addr_lib_unit_num(slot); }
int addr_lib_units_of(const dm_chipid_first &slot) { return slot.unit_num(); }
bool addr_lib_holds_unit(const chipid_slot_t &slot, int unit)
{
    return unit < addr_lib_unit_num(slot);
}
bool addr_lib_holds_unit(const dm_chipid_first &slot, int unit) { return slot.holds(unit); }

// Slot of a node for the node-based queries: 0 with its record read into
// *slot (for chip `unit`), -2 when the node is outside the table, -3 when
// the slot holds no IDs.
template <class Slot>
int addr_lib_slot_of_node(int node, Slot *slot, int unit = 0)
{
    const int gslot = dm_get_gslot_from_phyid(node);
    if (!addr_lib_gslot_valid(gslot)) {
        DM_ERROR("get gslot from node fail, node=%#08x\r\n", node);
        return -2;
    }
    addr_lib_read_slot(gslot, unit, slot);
    if (slot->status != CHIPID_VALID) {
        DM_WARN("gslot[%#08x] not alloc chipid\r\n", gslot);
        return -3;
    }
    return 0;
}

// The slot record of a card whose chip `unit` exists: 0; -2 or -3 as for the
// slot, or -2 when the card has fewer chips.
template <class Slot>
int addr_lib_slot_of_unit(int unit, int node, Slot *slot)
{
    const int ret = addr_lib_slot_of_node(node, slot, unit);
    if (ret != 0) {
        return ret;
    }
    if (!addr_lib_holds_unit(*slot, unit)) {
        DM_ERROR("unit[%d] is large than slot unit_num[%d]\r\n", unit, addr_lib_units_of(*slot));
        return -2;
    }
    return 0;
}

}  // namespace

int dm_get_dune_static_chipid(int dev, int slot, int unit)
{
    if (!dm_in_range(dev, kDevMin, kDevMax) || !dm_in_range(slot, 0, kSlotMax)) {
        DM_ERROR("input arguments error, devid=%d slotid=%d\r\n", dev, slot);
        return -2;
    }
    const int gslot = dm_get_gslot_from_lslot(dev, slot, 0);
    const int lslot = dm_get_lslot_from_gslot(gslot);
    if (dm_get_sslot_from_gslot(gslot) == 0 && dm_lslot_is_chassis_mb(lslot)) {
        DM_ERROR("gslot[%#08x] is chassis mb slot\r\n", gslot);
        return -2;
    }
    const int chipid = dm_dune_chipid(gslot, unit);
    DM_VERBOSE("dev=%d slot=%d unit=%d dune chipid=%d\r\n", dev, slot, unit, chipid);
    return chipid;
}

int dm_get_dev_slot_unit_by_dune_chipid(int chipid, int *dev, int *slot, int *unit)
{
    if (!dm_in_range(chipid, kDuneFirstChipid, kChipidMax) || dev == nullptr || slot == nullptr ||
        unit == nullptr) {
        DM_ERROR("input arguments error, chipid=%d\r\n", chipid);
        return -2;
    }
    *unit = (chipid - kDuneFirstChipid) % kDuneIdsPerSlot;
    const int gslot = (chipid - kDuneFirstChipid) / kDuneIdsPerSlot;
    if (!dm_in_range(gslot, 0, kGslotNum - 1)) {
        DM_ERROR("gslot is invalid(%#x)\r\n", gslot);
        return -2;
    }
    *dev = dm_get_devid_from_gslot(gslot);
    if (!dm_in_range(*dev, kDevMin, kDevMax)) {
        DM_ERROR("dev(%d) is invalid, chipid=%d gslot=%#x \r\n", *dev, chipid, gslot);
        return -2;
    }
    *slot = dm_get_lslot_from_gslot(gslot);
    if (!dm_in_range(*slot, 0, kSlotMax)) {
        DM_ERROR("slot is invalid(%d), chipid=%d gslot=%#x\r\n", *slot, chipid, gslot);
        return -2;
    }
    DM_VERBOSE("chipid=%d dev=%d slot=%d unit=%d\r\n", chipid, *dev, *slot, *unit);
    return 0;
}

int dm_get_sysport_from_dev_slot_unit_port(int dev, int slot, int unit, int port, int *sysport)
{
    if (!dm_in_range(dev, kDevMin, kDevMax) || !dm_in_range(slot, 0, kSlotMax) ||
        !dm_in_range(unit, 0, kSysportUnitMax) || !dm_in_range(port, 0, kSysportPortMax) ||
        sysport == nullptr) {
        DM_ERROR("input arguments error, dev=%d slot=%d unit=%d port=%d\r\n", dev, slot, unit,
                 port);
        return -2;
    }
    *sysport = dm_sysport_make(dev, slot, unit, port);
    DM_VERBOSE("dev=%d slot=%d unit=%d port=%d sysport=%d\r\n", dev, slot, unit, port, *sysport);
    return 0;
}

int dm_get_dev_slot_unit_port_from_sysport(int sysport, int *dev, int *slot, int *unit, int *port)
{
    if (dev == nullptr || slot == nullptr || unit == nullptr || port == nullptr ||
        !dm_in_range(sysport, 0, kSysportMax)) {
        DM_ERROR("input arguments error, sysport=%#08x\r\n", sysport);
        return -2;
    }
    *dev = sysport / kSysportPerDev + 1;
    *slot = sysport % kSysportPerDev / kSysportPerSlot + 1;
    *unit = sysport % kSysportPerSlot / kSysportPerUnit;
    *port = sysport % kSysportPerUnit;
    DM_VERBOSE("sysport=%d dev=%d slot=%d unit=%d port=%d\r\n", sysport, *dev, *slot, *unit, *port);
    return 0;
}

int dm_get_alloced_chipid(dm_chipid_alloc_t *chipid_array, int *chipid_num)
{
    if (chipid_array == nullptr || chipid_num == nullptr) {
        DM_ERROR("input arguments error\r\n");
        return -2;
    }
    const int capacity = *chipid_num;
    int written = 0;
    int alloc_num = 0;
    {
        const dm_chipid_scan scan;
        alloc_num = scan.alloc_num();
        if (capacity >= alloc_num) {
            for (int c = 0; c < kChipidNum && written < alloc_num; ++c) {
                const dm_chipid_owner res = scan.owner(c);
                if (!res.alloc) {
                    continue;
                }
                dm_chipid_alloc_t &out = chipid_array[written++];
                out.chipid = c;
                out.node = dm_get_phyid_from_gslot(res.gslot);
                out.unit = res.unit;
            }
        }
    }
    if (capacity < alloc_num) {
        DM_ERROR("array size is too small, chipid_num=%d alloc_num=%d\r\n", capacity, alloc_num);
        return -4;
    }
    *chipid_num = written;
    DM_VERBOSE("alloced chipid num=%d\r\n", written);
    return 0;
}

int dm_get_first_chipid_from_node(int node, int *chipid)
{
    if (dm_node_sslot(node) != 0 || chipid == nullptr) {
        DM_ERROR("input arguments error, node=%#08x\r\n", node);
        return -2;
    }
    chipid_slot_t slot;
    const int ret = addr_lib_slot_of_node(node, &slot);
    if (ret != 0) {
        return ret;
    }
    *chipid = slot.id[0];
    DM_VERBOSE("node=%#08x first chipid=%d\r\n", node, *chipid);
    return 0;
}

int dm_get_first_chipid_from_unit_node(int unit, int node, int *chipid)
{
    if (unit < 0 || node < 0 || chipid == nullptr) {
        DM_ERROR("input arguments error, unit=%d node=%#08xs\r\n", unit, node);
        return -2;
    }
    dm_chipid_first slot;
    const int ret = addr_lib_slot_of_unit(unit, node, &slot);
    if (ret != 0) {
        return ret;
    }
    *chipid = slot.id;
    DM_VERBOSE("unit=%d node=%#08x first chipid=%d\r\n", unit, node, *chipid);
    return 0;
}

int dm_get_first_chipid_from_local_unit(int unit, int *chipid)
{
    return dm_get_first_chipid_from_unit_node(unit, dm_get_my_node(), chipid);
}

int dm_get_chipid_range_by_node(int node, int *chipid, int *chipid_num)
{
    if (chipid == nullptr || chipid_num == nullptr) {
        DM_ERROR("%s\r\n", "input arguments error");
        return -2;
    }
    chipid_slot_t slot;
    const int ret = addr_lib_slot_of_node(node, &slot);
    if (ret != 0) {
        return ret;
    }
    const int unit_num = addr_lib_unit_num(slot);
    if (*chipid_num < unit_num) {
        DM_ERROR("chipid array overflow, size=%d unit_num=%d\r\n", *chipid_num, unit_num);
        return -4;
    }
    for (int u = 0; u < unit_num; ++u) {
        chipid[u] = slot.id[static_cast<size_t>(slot.idnum_per_unit) * static_cast<size_t>(u)];
    }
    *chipid_num = unit_num;
    DM_VERBOSE("node=%#08x unit_num=%d\r\n", node, unit_num);
    return 0;
}

int dm_get_chipid_from_unit_node(int unit, int node, int *chipid, int *chipid_num)
{
    if (unit < 0 || chipid == nullptr || chipid_num == nullptr) {
        DM_ERROR("input arguments error, unit=%d\r\n", unit);
        return -2;
    }
    chipid_slot_t slot;
    const int ret = addr_lib_slot_of_unit(unit, node, &slot);
    if (ret != 0) {
        return ret;
    }
    const int per_unit = slot.idnum_per_unit;
    if (*chipid_num < per_unit) {
        DM_ERROR("chipid array overflow, size=%d idnum_peer_chip=%d\r\n", *chipid_num, per_unit);
        return -4;
    }
    for (int i = 0; i < per_unit; ++i) {
        chipid[i] = slot.id[per_unit * unit + i];
    }
    *chipid_num = per_unit;
    DM_VERBOSE("unit=%d node=%#08x chipid num=%d\r\n", unit, node, per_unit);
    return 0;
}

int dm_get_node_unit_from_chipid(int chipid, int *node, int *unit)
{
    if (chipid < 0 || chipid >= kChipidNum || node == nullptr || unit == nullptr) {
        DM_ERROR("input arguments error, chipid=%d\r\n", chipid);
        return -2;
    }
    const dm_chipid_owner res = dm_chipid_owner_of(chipid);
    if (!res.alloc) {
        DM_WARN("chipid[%d] not alloc\r\n", chipid);
        return -3;
    }
    *node = dm_get_phyid_from_gslot(res.gslot);
    *unit = res.unit;
    DM_VERBOSE("chipid=%d node=%#08x unit=%d\r\n", chipid, *node, *unit);
    return 0;
}

bool dm_is_local_chipid(int chipid)
{
    if (chipid < 0 || chipid >= kChipidNum) {
        DM_ERROR("input arguments error, chipid=%d\r\n", chipid);
        return false;
    }
    const int my_gslot = dm_get_gslot_from_phyid(dm_get_my_node());
    const dm_chipid_owner res = dm_chipid_owner_of(chipid);
    if (!res.alloc) {
        DM_WARN("chipid[%d] not alloc\r\n", chipid);
        return false;
    }
    const bool local = res.gslot == my_gslot;
    DM_VERBOSE("chipid=%d local=%d\r\n", chipid, local);
    return local;
}

int dm_get_chipid_range_by_dev(int devid, int *chipid, int *chipid_num)
{
    if (devid < 0 || chipid == nullptr || chipid_num == nullptr) {
        DM_ERROR("input arguments error, devid=%d\r\n", devid);
        return -2;
    }
    int num = 0;
    {
        const dm_chipid_scan scan;
        for (int c = 0; c < kChipidNum; ++c) {
            const dm_chipid_owner res = scan.owner(c);
            if (res.alloc && dm_get_devid_from_gslot(res.gslot) == devid) {
                chipid[num++] = c;
            }
        }
    }
    *chipid_num = num;
    DM_VERBOSE("devid=%d chipid num=%d\r\n", devid, num);
    return 0;
}

int dm_get_system_invalid_chipid(void) { return kSystemInvalidChipid; }

int dm_get_system_reserved_chipid_range(int *lower, int *upper)
{
    if (lower == nullptr || upper == nullptr) {
        DM_ERROR("input arguments error\r\n");
        return -2;
    }
    *lower = kSystemReservedChipid;
    *upper = kSystemReservedChipid;
    return 0;
}

int dm_get_zone_reserved_chipid_range(int *lower, int *upper)
{
    if (lower == nullptr || upper == nullptr) {
        DM_ERROR("input arguments error\r\n");
        return -2;
    }
    *lower = kZoneReservedLower;
    *upper = kZoneReservedUpper;
    return 0;
}
