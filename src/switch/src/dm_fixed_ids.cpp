// Fixed chip IDs of the Dune-family chips and the fixed system port numbers:
// pure arithmetic on a chip's or port's position, both ways. No table, no
// lock, no host call.
#include "dm_diag.h"
#include <dm_lib_pd/dm_chipid.h>
#include <dm_lib_pd/dm_ids.h>

namespace {

constexpr int kDevMin = 1;
constexpr int kDevMax = 2;
constexpr int kSlotMax = 31;
constexpr int kGslotNum = 64;
constexpr int kChipidMax = 2047;

// Eight fixed IDs per slot, the first after the invalid ID 25 and the
// reserved ID 26.
constexpr int kDuneIdsPerSlot = 8;
constexpr int kDuneFirstChipid = 27;
// The chassis main-board slots of each device carry no fixed IDs.
constexpr int kMbSlotLow = 30;
constexpr int kMbSlotHigh = 31;

constexpr int kSysportUnitMax = 7;
constexpr int kSysportPortMax = 31;
constexpr int kSysportMax = 0x4FFF;
constexpr int kSysportPerDev = 5120;
constexpr int kSysportPerSlot = 320;
constexpr int kSysportPerUnit = 40;

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

}  // namespace

int dm_get_dune_static_chipid(int dev, int slot, int unit)
{
    if (!dm_in_range(dev, kDevMin, kDevMax) || !dm_in_range(slot, 0, kSlotMax)) {
        DM_ERROR("input arguments error, devid=%d slotid=%d\r\n", dev, slot);
        return -2;
    }
    const int gslot = dm_get_gslot_from_lslot(dev, slot, 0);
    const int lslot = dm_get_lslot_from_gslot(gslot);
    if (dm_get_sslot_from_gslot(gslot) == 0 && (lslot == kMbSlotLow || lslot == kMbSlotHigh)) {
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
