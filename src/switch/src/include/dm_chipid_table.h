// The chip-ID allocation mirror's storage: the last accepted allocation
// record of every global slot and the reverse table from chip ID to owner.
//
// Readers take no lock and write no shared memory: a copy is made through
// atomic loads between two reads of the table's sequence counter and
// retried when a writer ran in between (after kDmSeqTries it waits for the
// writer instead). The address manager's thread is the writer; it holds the
// writers' lock and keeps the counter odd for one whole record update, so a
// query sees a slot and its chip IDs before or after an update, never half.
// The storage is static: nothing is ever freed.
#pragma once

#include <cstdint>

#include "addr_common.h"
#include "dm_lock.h"

constexpr int kDmGslotNum = 64;      // slots the address manager allocates for
constexpr int kDmSlotTableLen = 65;  // entry 64 is never written
constexpr int kDmChipidNum = 2048;   // chip IDs are indexes below this

// Owner of one chip ID.
struct dm_chipid_owner {
    int gslot;   // the owning slot
    int unit;    // the owning chip on that slot's card
    bool alloc;  // the ID is allocated
};

// True for a slot the address manager allocates for.
inline bool addr_lib_gslot_valid(int gslot) { return gslot >= 0 && gslot < kDmGslotNum; }

// Chips on a slot's card; a stored record has passed the update's checks, so
// idnum_per_unit is at least 1.
inline int addr_lib_unit_num(const chipid_slot_t &slot)
{
    return slot.id_num / slot.idnum_per_unit;
}

// Lock-free copies: the record of `gslot` (0..kDmSlotTableLen-1) and the
// owner of `chipid` (0..kDmChipidNum-1). Any thread.
chipid_slot_t dm_chipid_slot_copy(int gslot);
dm_chipid_owner dm_chipid_owner_of(int chipid);

// What a first-chip-ID query reads of a slot record, without copying it:
// the status, the two counts, and chip `unit`'s first chip ID (0 when the
// record has no such chip). One atomic word, written with the record, holds
// all of it, so the answer is one version of the record without the counter.
struct dm_chipid_first {
    int status;
    int per_unit;  // idnum_per_unit
    int id_num;
    int id;
    // Chips on the card (stored records have per_unit >= 1).
    int unit_num() const { return per_unit == 0 ? 0 : id_num / per_unit; }
    // unit < unit_num(), without the division.
    bool holds(int unit) const
    {
        return unit >= 0 && per_unit != 0 &&
               (static_cast<int64_t>(unit) + 1) * per_unit <= static_cast<int64_t>(id_num);
    }
};
void dm_chipid_first_of(int gslot, int unit, dm_chipid_first *out);

// A hold that keeps writers out while a query walks the whole reverse table.
class dm_chipid_scan : dm_hold {
public:
    dm_chipid_scan();
    ~dm_chipid_scan();

    int alloc_num() const;
    dm_chipid_owner owner(int chipid) const;
};

// The writer's hold: the writers' lock and the counter odd for its lifetime.
class dm_chipid_writer : dm_hold {
public:
    dm_chipid_writer();
    ~dm_chipid_writer();

    chipid_slot_t slot(int gslot) const;
    void set_slot(int gslot, const chipid_slot_t &rec);
    dm_chipid_owner owner(int chipid) const;
    void set_owner(int chipid, const dm_chipid_owner &o);
    int alloc_num() const;
    void set_alloc_num(int n);
};
