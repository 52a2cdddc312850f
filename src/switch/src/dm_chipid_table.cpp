// The chip-ID allocation mirror's storage (see dm_chipid_table.h). A slot
// record is six atomic words; a chip ID's owner is one atomic word, so a
// single owner is never torn even without the counter, and the counter makes
// a slot record and a walk of owners whole. Each chip's first chip ID is kept
// a second time, beside what a query checks it against, in one word of its
// own (dm_unit_word): the query behind every mod_port phyid reads that word
// alone.
#include "dm_chipid_table.h"

#include <cstddef>
#include <cstring>

namespace {

constexpr int kSlotWords = sizeof(chipid_slot_t) / sizeof(uint64_t);
static_assert(sizeof(chipid_slot_t) == kSlotWords * sizeof(uint64_t));

struct dm_chipid_table {
    // Serialises the writer(s); readers take it for reading only after
    // kDmSeqTries lost races, and whole-table walks for their duration.
    dm_rwlock addr_lib_rwlock;
    dm_seqcount seq;
    std::atomic<uint64_t> chipid_slot[kDmSlotTableLen][kSlotWords] = {};
    std::atomic<uint64_t> chipid_res[kDmChipidNum] = {};
    std::atomic<int> chipid_alloc_num{0};
    // dm_unit_word of chip u of each slot's record (u below the most chips a
    // record can name).
    std::atomic<uint64_t> unit_first[kDmSlotTableLen][CHIPID_SLOT_ID_MAX] = {};
};

dm_chipid_table tbl;

// An owner in one word: gslot in the low half, unit above it, alloc on top.
constexpr uint64_t kAllocBit = uint64_t{1} << 63;

uint64_t dm_owner_word(const dm_chipid_owner &o)
{
    return (o.alloc ? kAllocBit : 0) |
           (static_cast<uint64_t>(static_cast<uint32_t>(o.unit) & 0x7FFFFFFFu) << 32) |
           static_cast<uint32_t>(o.gslot);
}

dm_chipid_owner dm_owner_from(uint64_t w)
{
    return {static_cast<int>(static_cast<uint32_t>(w)), static_cast<int>((w >> 32) & 0x7FFFFFFFu),
            (w & kAllocBit) != 0};
}

// Copies word `i` of a slot record into the same place of *out.
void dm_slot_word_into(int gslot, size_t i, chipid_slot_t *out)
{
    const uint64_t w = tbl.chipid_slot[gslot][i].load(kDmSeqLoad);
    std::memcpy(reinterpret_cast<unsigned char *>(out) + i * sizeof w, &w, sizeof w);
}

// Copies a slot record into *out word by word, each stored as it arrives
// (see dm_port_table.cpp: a copy staged in a local array and moved with wider
// loads waits for the stores to retire).
void dm_slot_load_into(int gslot, chipid_slot_t *out)
{
    for (size_t i = 0; i < kSlotWords; ++i) {
        dm_slot_word_into(gslot, i, out);
    }
}

chipid_slot_t dm_slot_load(int gslot)
{
    chipid_slot_t rec;
    dm_slot_load_into(gslot, &rec);
    return rec;
}

dm_chipid_owner dm_owner_load(int chipid)
{
    return dm_owner_from(tbl.chipid_res[chipid].load(kDmSeqLoad));
}

}  // namespace

chipid_slot_t dm_chipid_slot_copy(int gslot)
{
    chipid_slot_t rec;
    auto attempt = [&] {
        dm_slot_load_into(gslot, &rec);
        return true;
    };
    if (!dm_seq_try(tbl.seq, attempt)) [[unlikely]] {
        dm_seq_read(tbl.seq, tbl.addr_lib_rwlock, attempt);
    }
    return rec;
}

namespace {

// Chip `unit`'s first chip ID in one word with the record's status and two
// counts: status in bits 0..31, the ID in 32..47 (0 when the record has no
// such chip), idnum_per_unit in 48..55, id_num in 56..63. A stored record has
// passed the update's checks (at most CHIPID_SLOT_ID_MAX IDs, 1 <= idnum_per_unit
// <= id_num), so both counts fit their byte.
uint64_t dm_unit_word(const chipid_slot_t &rec, int unit)
{
    dm_chipid_first f{rec.status, rec.idnum_per_unit, rec.id_num, 0};
    if (f.holds(unit)) {
        f.id = rec.id[static_cast<size_t>(rec.idnum_per_unit) * static_cast<size_t>(unit)];
    }
    return static_cast<uint32_t>(f.status) | static_cast<uint64_t>(f.id & 0xFFFF) << 32 |
           static_cast<uint64_t>(f.per_unit & 0xFF) << 48 |
           static_cast<uint64_t>(f.id_num & 0xFF) << 56;
}

}  // namespace

void dm_chipid_first_of(int gslot, int unit, dm_chipid_first *out)
{
    const bool named = unit >= 0 && unit < CHIPID_SLOT_ID_MAX;
    const uint64_t w = tbl.unit_first[gslot][named ? unit : 0].load(kDmSeqLoad);
    out->status = static_cast<int32_t>(static_cast<uint32_t>(w));
    out->per_unit = static_cast<int>((w >> 48) & 0xFF);
    out->id_num = static_cast<int>(w >> 56);
    out->id = named ? static_cast<int>((w >> 32) & 0xFFFF) : 0;
}

dm_chipid_owner dm_chipid_owner_of(int chipid) { return dm_owner_load(chipid); }

dm_chipid_scan::dm_chipid_scan() { pthread_rwlock_rdlock(dm_native(tbl.addr_lib_rwlock)); }
dm_chipid_scan::~dm_chipid_scan() { pthread_rwlock_unlock(dm_native(tbl.addr_lib_rwlock)); }
int dm_chipid_scan::alloc_num() const { return tbl.chipid_alloc_num.load(kDmSeqLoad); }
dm_chipid_owner dm_chipid_scan::owner(int chipid) const { return dm_owner_load(chipid); }

dm_chipid_writer::dm_chipid_writer()
{
    pthread_rwlock_wrlock(dm_native(tbl.addr_lib_rwlock));
    tbl.seq.write_begin();
}

dm_chipid_writer::~dm_chipid_writer()
{
    tbl.seq.write_end();
    pthread_rwlock_unlock(dm_native(tbl.addr_lib_rwlock));
}

chipid_slot_t dm_chipid_writer::slot(int gslot) const { return dm_slot_load(gslot); }

void dm_chipid_writer::set_slot(int gslot, const chipid_slot_t &rec)
{
    uint64_t words[kSlotWords] = {};
    std::memcpy(words, &rec, sizeof rec);
    for (int i = 0; i < kSlotWords; ++i) {
        tbl.chipid_slot[gslot][i].store(words[i], kDmSeqStore);
    }
    for (int u = 0; u < CHIPID_SLOT_ID_MAX; ++u) {
        tbl.unit_first[gslot][u].store(dm_unit_word(rec, u), kDmSeqStore);
    }
}

dm_chipid_owner dm_chipid_writer::owner(int chipid) const { return dm_owner_load(chipid); }

void dm_chipid_writer::set_owner(int chipid, const dm_chipid_owner &o)
{
    tbl.chipid_res[chipid].store(dm_owner_word(o), kDmSeqStore);
}

int dm_chipid_writer::alloc_num() const { return tbl.chipid_alloc_num.load(kDmSeqLoad); }

void dm_chipid_writer::set_alloc_num(int n) { tbl.chipid_alloc_num.store(n, kDmSeqStore); }
