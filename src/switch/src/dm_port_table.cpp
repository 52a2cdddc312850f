// The chassis port table's storage: record slots, the four open-addressing
// views and the sequence counter that lets lookups run without a lock.
//
// Layout. A record lives in a 128-byte slot of sixteen atomic words; slots
// come in chunks of kChunkSlots that are allocated once and never freed, so a
// slot's address stays valid for the life of the process (type-stable
// memory). A view is a power-of-two array of atomic words, each 0 (empty) or
// (key << 32 | slot + 1), probed linearly from a hash of the key (see
// dm_port_spread); word 0 of the array holds its log2 size. A removal shifts
// the entries after it back instead of leaving a tombstone, so a view never
// fills with dead entries however ports come and go.
//
// Readers. A lookup reads the counter, probes, copies the slot's words, and
// reads the counter again (dm_seq_try, inlined into each record lookup; the
// retries of dm_seq_read are out of line); every load is an atomic load
// (kDmSeqLoad), so a copy that overlaps a writer is a data race by no
// definition, only a stale copy, which the second read of the counter throws
// away. What a racing reader sees may be nonsense (a slot past the chunks, a
// probe that never meets an empty entry): such an attempt stops at once and
// is retried. The only pointers a reader follows are a view's current array
// and a chunk, and neither is ever freed.
//
// Cost. A lookup is two cache misses (the view's entry, then the record)
// inside a few dozen instructions, and a caller's loop of lookups runs as
// fast as the processor can overlap one lookup's misses with the next's. So
// the copy goes straight into the caller's record in 16-byte stores that the
// caller's field loads are forwarded from (a copy staged in a local array
// and moved again stalls until its stores retire), and a query that needs
// only a record's first 64 bytes copies just those (dm_port_part::head): the
// slot keeps them in one cache line.
//
// Reclamation. A view that passes three quarters full moves to an array of
// twice the size, and the old array is retired, never freed, because a
// reader may still be probing it. The arrays retired by one view are the
// sizes it passed through, 64, 128, ..., C/2 entries for a current array of
// C, which sum to C - 64 < C: the memory retired and not reused is always
// less than the live arrays' own. Record slots are reused through the free
// list, never retired, so the chunks hold at most the largest number of
// ports the table ever had at once, rounded up to a chunk.
#include "dm_port_table.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include "dm_diag.h"

namespace {

constexpr int kSlotWords = 16;  // 124-byte record, rounded up to 8-byte words
static_assert(sizeof(dp_lib_port_t) <= kSlotWords * sizeof(uint64_t));

struct alignas(64) dm_port_cell {
    std::atomic<uint64_t> w[kSlotWords];
};

constexpr uint32_t kChunkShift = 9;
constexpr uint32_t kChunkSlots = 1u << kChunkShift;  // 64 KiB of records
constexpr uint32_t kChunks = 8192;                   // 4 Mi ports at most

constexpr uint64_t kMinBits = 6;  // the smallest array: 64 entries
constexpr uint64_t kMaxBits = 30;

using dm_word = std::atomic<uint64_t>;

// How a view spreads its keys. Interface indexes, slot_lport phyids and
// interface-manager keys mostly come in runs and strides, which Fibonacci
// hashing (the top bits of one multiplication) spreads almost evenly. A
// dm_phyid packs device, slot, chip and port into separate bit fields with
// gaps between their values, and Fibonacci hashing bunches those: in the
// benchmark's chassis of 16,384 ports, 37% of the keys land two or more
// entries past their home, against 10% under a mixing hash, whose second
// multiplication brings the high fields' bits into play.
enum class dm_port_spread { fibonacci, mixed };

constexpr dm_port_spread dm_spread_of(dm_port_key by)
{
    return by == dm_port_key::phyid ? dm_port_spread::mixed : dm_port_spread::fibonacci;
}

[[gnu::always_inline]] inline uint32_t dm_port_hash(int key, uint64_t bits, dm_port_spread spread)
{
    uint64_t x = static_cast<uint64_t>(static_cast<uint32_t>(key)) * 0x9E3779B97F4A7C15ull;
    if (spread == dm_port_spread::mixed) {
        x ^= x >> 29;
        x *= 0xBF58476D1CE4E5B9ull;
    }
    return static_cast<uint32_t>(x >> (64 - bits));
}

uint64_t dm_port_word(int key, dm_port_slot slot)
{
    return static_cast<uint64_t>(static_cast<uint32_t>(key)) << 32 | (slot + 1u);
}

int dm_word_key(uint64_t e) { return static_cast<int>(static_cast<uint32_t>(e >> 32)); }
dm_port_slot dm_word_slot(uint64_t e) { return static_cast<uint32_t>(e) - 1u; }

// What one probe found.
enum class dm_probe { hit, miss, torn };

// Array `a`'s size mask and `key`'s home entry in it; false when the size
// word is out of range (a torn read).
[[gnu::always_inline]] inline bool dm_view_home(const dm_word *a, dm_port_spread spread, int key,
                                                uint32_t *mask, uint32_t *home)
{
    const uint64_t bits = a[0].load(kDmSeqLoad);
    if (bits < kMinBits || bits > kMaxBits) {
        return false;
    }
    *mask = (1u << bits) - 1u;
    *home = dm_port_hash(key, bits, spread);
    return true;
}

// Probes from entry i on: the entry's index into *at on a hit, the empty
// index that ended the search on a miss. Bounded by the array's size, so a
// probe of an array a writer is changing ends (torn) rather than loops.
[[gnu::always_inline]] inline dm_probe dm_view_probe_from(const dm_word *a, uint32_t mask,
                                                          uint32_t i, int key, uint64_t *entry,
                                                          uint32_t *at)
{
    for (uint32_t n = 0; n <= mask; ++n, i = (i + 1) & mask) {
        const uint64_t e = a[1 + i].load(kDmSeqLoad);
        if (e == 0 || dm_word_key(e) == key) {
            *entry = e;
            *at = i;
            return e == 0 ? dm_probe::miss : dm_probe::hit;
        }
    }
    return dm_probe::torn;
}

// Probes array `a` for `key` from its home entry (dm_view_probe_from).
[[gnu::always_inline]] inline dm_probe dm_view_probe(const dm_word *a, dm_port_spread spread,
                                                     int key, uint64_t *entry, uint32_t *at)
{
    uint32_t mask;
    uint32_t home;
    if (!dm_view_home(a, spread, key, &mask, &home)) {
        return dm_probe::torn;
    }
    return dm_view_probe_from(a, mask, home, key, entry, at);
}

// A reader's probe: dm_view_probe's answer, found without a branch that
// depends on where the key sits when it sits in its home entry or the one
// after it. Whether a key was pushed past its home is random, so a probe that
// branches on each entry mispredicts on a good share of lookups, and each
// misprediction throws away the lookups a caller's loop had started after
// it. The two entries are loaded together and the one holding the key is
// picked without a branch; anything else takes the general probe.
[[gnu::always_inline]] inline dm_probe dm_view_lookup(const dm_word *a, dm_port_spread spread,
                                                      int key, uint64_t *entry)
{
    uint32_t mask;
    uint32_t home;
    if (!dm_view_home(a, spread, key, &mask, &home)) {
        return dm_probe::torn;
    }
    const uint64_t first = a[1 + home].load(kDmSeqLoad);
    const uint64_t second = a[1 + ((home + 1) & mask)].load(kDmSeqLoad);
    // Picked with a mask: the compiler turns a conditional expression back
    // into the branch this is here to avoid. Only an empty entry has a zero
    // low half. With the home entry empty the key cannot be in the next one
    // (no probe passes an empty entry), so a key found there means a writer's
    // change, which the sequence check catches.
    const uint64_t pick_first = 0 - static_cast<uint64_t>(dm_word_key(first) == key);
    const uint64_t e = (first & pick_first) | (second & ~pick_first);
    if (dm_word_key(e) == key && static_cast<uint32_t>(e) != 0) [[likely]] {
        *entry = e;
        return dm_probe::hit;
    }
    uint32_t at;
    return dm_view_probe_from(a, mask, home, key, entry, &at);
}

// One keyed view. `cur_` is what readers load; the rest is the writers'.
class dm_port_view {
public:
    constexpr explicit dm_port_view(dm_port_key by) : spread_(dm_spread_of(by)) {}

    const dm_word *current() const { return cur_.load(std::memory_order_acquire); }

    dm_port_slot find(int key) const
    {
        const dm_word *a = current();
        uint64_t e;
        uint32_t at;
        if (a == nullptr || dm_view_probe(a, spread_, key, &e, &at) != dm_probe::hit) {
            return kDmNoPort;
        }
        return dm_word_slot(e);
    }

    int insert(int key, dm_port_slot slot)
    {
        if (find(key) != kDmNoPort) {
            return 1;
        }
        if (!room_for_one_more()) {
            return -1;
        }
        // Room is left, so the probe ends on an empty entry.
        dm_word *a = cur_.load(kDmSeqLoad);
        uint64_t e = 0;
        uint32_t at = 0;
        dm_view_probe(a, spread_, key, &e, &at);
        a[1 + at].store(dm_port_word(key, slot), kDmSeqStore);
        ++count_;
        return 0;
    }

    // Backward-shift removal: every entry after the hole that may sit there
    // (its home is not between the hole and itself) moves up into it.
    void erase(int key)
    {
        dm_word *a = cur_.load(kDmSeqLoad);
        uint64_t e;
        uint32_t hole;
        if (a == nullptr || dm_view_probe(a, spread_, key, &e, &hole) != dm_probe::hit) {
            return;
        }
        const uint64_t bits = a[0].load(kDmSeqLoad);
        const uint32_t mask = (1u << bits) - 1u;
        for (uint32_t j = (hole + 1) & mask;; j = (j + 1) & mask) {
            const uint64_t next = a[1 + j].load(kDmSeqLoad);
            if (next == 0) {
                break;
            }
            const uint32_t home = dm_port_hash(dm_word_key(next), bits, spread_);
            if (((j - home) & mask) >= ((j - hole) & mask)) {
                a[1 + hole].store(next, kDmSeqStore);
                hole = j;
            }
        }
        a[1 + hole].store(0, kDmSeqStore);
        --count_;
    }

    // Every entry, in array order.
    template <class Visit>
    void each(Visit visit) const
    {
        const dm_word *a = current();
        if (a == nullptr) {
            return;
        }
        const uint32_t size = 1u << a[0].load(kDmSeqLoad);
        for (uint32_t i = 0; i < size; ++i) {
            const uint64_t e = a[1 + i].load(kDmSeqLoad);
            if (e != 0) {
                visit(dm_word_key(e), dm_word_slot(e));
            }
        }
    }

private:
    // Keeps the load at most three quarters after one more entry, growing
    // into a new array of twice the size; false when memory is short.
    bool room_for_one_more()
    {
        const dm_word *a = cur_.load(kDmSeqLoad);
        const uint64_t bits = a == nullptr ? 0 : a[0].load(kDmSeqLoad);
        if (a != nullptr && (count_ + 1) * 4 <= (uint64_t{1} << bits) * 3) {
            return true;
        }
        const uint64_t new_bits = a == nullptr ? kMinBits : bits + 1;
        if (new_bits > kMaxBits) {
            return false;
        }
        const size_t size = size_t{1} << new_bits;
        std::unique_ptr<dm_word[]> grown(new (std::nothrow) dm_word[size + 1]);
        if (grown == nullptr) {
            return false;
        }
        grown[0].store(new_bits, kDmSeqStore);
        const uint32_t mask = static_cast<uint32_t>(size - 1);
        each([&](int key, dm_port_slot slot) {
            uint32_t i = dm_port_hash(key, new_bits, spread_);
            while (grown[1 + i].load(kDmSeqLoad) != 0) {
                i = (i + 1) & mask;
            }
            grown[1 + i].store(dm_port_word(key, slot), kDmSeqStore);
        });
        cur_.store(grown.get(), std::memory_order_release);
        // The previous array stays in arrays_: a reader may still be in it.
        arrays_[arrays_made_++] = std::move(grown);
        return true;
    }

public:
    uint64_t count() const { return count_; }

private:
    const dm_port_spread spread_;
    std::atomic<dm_word *> cur_{nullptr};
    uint64_t count_ = 0;
    // Every array the view has had, the current one last; never freed.
    std::unique_ptr<dm_word[]> arrays_[kMaxBits - kMinBits + 1];
    size_t arrays_made_ = 0;
};

struct dm_port_table {
    // Serialises the writers; a reader takes it for reading only after
    // kDmSeqTries lost races, and the show to copy a snapshot.
    dm_rwlock dm_port_rwlock;
    dm_seqcount seq;
    std::atomic<dm_port_cell *> chunks[kChunks] = {};
    uint32_t slots_made = 0;             // writers only
    dm_port_slot free_head = kDmNoPort;  // writers only; linked through word 0
    dm_port_view views[kDmPortKeys] = {
        dm_port_view(dm_port_key::ifx),
        dm_port_view(dm_port_key::phyid),
        dm_port_view(dm_port_key::ss_phyid),
        dm_port_view(dm_port_key::lsm_key),
    };
};

dm_port_table tbl;

dm_port_view &dm_view(dm_port_key by) { return tbl.views[static_cast<int>(by)]; }

// The slot's cell, or null for a slot no chunk holds (a torn read).
dm_port_cell *dm_port_cell_of(dm_port_slot slot)
{
    const uint32_t chunk = slot >> kChunkShift;
    if (chunk >= kChunks) {
        return nullptr;
    }
    dm_port_cell *c = tbl.chunks[chunk].load(std::memory_order_acquire);
    return c == nullptr ? nullptr : c + (slot & (kChunkSlots - 1));
}

// Copies the slot's record (or its head) into *out word by word, each an
// atomic load, and each stored as it arrives: a copy staged in a local array
// and then moved with wider loads makes those loads wait for the narrower
// stores to retire (no store forwarding), which serialises one lookup behind
// the next.
template <dm_port_part Part>
[[gnu::always_inline]] inline bool dm_port_copy_out_words(dm_port_slot slot, dp_lib_port_t *out)
{
    const dm_port_cell *cell = dm_port_cell_of(slot);
    if (cell == nullptr) {
        return false;
    }
    // Pairs of words go out as one 16-byte store: a field the caller then
    // reads with one load (the compiler merges neighbours, such as slotid
    // and subslotid at bytes 20..27) lies within one store and is forwarded
    // from it.
    using dm_pair = uint64_t __attribute__((vector_size(16)));
    auto *to = reinterpret_cast<unsigned char *>(out);
    constexpr size_t kPairs =
        (Part == dm_port_part::head ? kDmPortHeadBytes : sizeof(dp_lib_port_t)) / sizeof(dm_pair);
#pragma GCC unroll 8
    for (size_t i = 0; i < kPairs; ++i) {
        const dm_pair p = {cell->w[2 * i].load(kDmSeqLoad), cell->w[2 * i + 1].load(kDmSeqLoad)};
        std::memcpy(to + i * sizeof p, &p, sizeof p);
    }
    if constexpr (Part == dm_port_part::head) {
        std::memset(to + kDmPortHeadBytes, 0, sizeof(dp_lib_port_t) - kDmPortHeadBytes);
    } else {
        static_assert(sizeof(dp_lib_port_t) - kPairs * sizeof(dm_pair) == 12);
        const uint64_t w = cell->w[2 * kPairs].load(kDmSeqLoad);
        const uint32_t last = static_cast<uint32_t>(cell->w[2 * kPairs + 1].load(kDmSeqLoad));
        std::memcpy(to + kPairs * sizeof(dm_pair), &w, sizeof w);
        std::memcpy(to + kPairs * sizeof(dm_pair) + sizeof w, &last, sizeof last);
    }
    return true;
}

dp_lib_port_t dm_port_record_of(dm_port_slot slot)
{
    dp_lib_port_t rec;
    dm_port_copy_out_words<dm_port_part::whole>(slot, &rec);
    return rec;
}

// One optimistic read of a view: what the probe found, with the record
// copied into *out on a hit.
template <dm_port_key By, dm_port_part Part>
[[gnu::always_inline]] inline dm_probe dm_port_attempt(int key, dp_lib_port_t *out)
{
    const dm_word *a = dm_view(By).current();
    if (a == nullptr) {
        return dm_probe::miss;
    }
    uint64_t e;
    const dm_probe found = dm_view_lookup(a, dm_spread_of(By), key, &e);
    if (found != dm_probe::hit) {
        return found;
    }
    return dm_port_copy_out_words<Part>(dm_word_slot(e), out) ? dm_probe::hit : dm_probe::torn;
}

// A lookup in one view that lost a race with a writer: out of line, so that
// the hot path below stays small.
template <dm_port_key By, dm_port_part Part>
[[gnu::noinline]] bool dm_port_lookup_contended(int key, dp_lib_port_t *out)
{
    bool hit = false;
    dm_seq_read(tbl.seq, tbl.dm_port_rwlock, [&] {
        const dm_probe found = dm_port_attempt<By, Part>(key, out);
        hit = found == dm_probe::hit;
        return found != dm_probe::torn;
    });
    return hit;
}

// The lookup in one view, inlined into each record lookup below so that the
// view's address is a constant there.
template <dm_port_key By, dm_port_part Part = dm_port_part::whole>
[[gnu::always_inline]] inline bool dm_port_lookup_in(int key, dp_lib_port_t *out)
{
    dm_probe found = dm_probe::torn;
    auto attempt = [&] {
        found = dm_port_attempt<By, Part>(key, out);
        return found != dm_probe::torn;
    };
    if (dm_seq_try(tbl.seq, attempt)) [[likely]] {
        return found == dm_probe::hit;
    }
    return dm_port_lookup_contended<By, Part>(key, out);
}

}  // namespace

bool dm_port_snapshot(dm_port_view_copy (&views)[kDmPortKeys])
{
    bool whole = true;
    {
        dm_read_guard guard(tbl.dm_port_rwlock);
        for (int v = 0; v < kDmPortKeys; ++v) {
            dm_port_view_copy &out = views[v];
            out.count = 0;
            out.lines.reset(new (std::nothrow) dm_port_entry[tbl.views[v].count()]);
            if (out.lines == nullptr) {
                whole = false;
                continue;
            }
            tbl.views[v].each([&](int key, dm_port_slot slot) {
                out.lines[out.count++] = {key, dm_port_record_of(slot)};
            });
        }
    }
    for (dm_port_view_copy &v : views) {
        std::sort(v.lines.get(), v.lines.get() + v.count,
                  [](const dm_port_entry &a, const dm_port_entry &b) { return a.key < b.key; });
    }
    return whole;
}

dm_port_writer::dm_port_writer() : guard_(tbl.dm_port_rwlock, tbl.seq) {}

dm_port_writer::~dm_port_writer() = default;

dm_port_slot dm_port_writer::find(dm_port_key by, int key) const { return dm_view(by).find(key); }

dp_lib_port_t dm_port_writer::record(dm_port_slot slot) const { return dm_port_record_of(slot); }

void dm_port_writer::store(dm_port_slot slot, const dp_lib_port_t &rec)
{
    uint64_t words[kSlotWords] = {};
    std::memcpy(words, &rec, sizeof rec);
    dm_port_cell *cell = dm_port_cell_of(slot);
    for (int i = 0; i < kSlotWords; ++i) {
        cell->w[i].store(words[i], kDmSeqStore);
    }
}

dm_port_slot dm_port_writer::add(const dp_lib_port_t &rec)
{
    dm_port_slot slot = tbl.free_head;
    if (slot != kDmNoPort) {
        tbl.free_head = static_cast<dm_port_slot>(dm_port_cell_of(slot)->w[0].load(kDmSeqLoad));
    } else {
        slot = tbl.slots_made;
        const uint32_t chunk = slot >> kChunkShift;
        if (chunk >= kChunks) {
            return kDmNoPort;
        }
        if (tbl.chunks[chunk].load(kDmSeqLoad) == nullptr) {
            auto *cells = new (std::nothrow) dm_port_cell[kChunkSlots];
            if (cells == nullptr) {
                return kDmNoPort;
            }
            tbl.chunks[chunk].store(cells, std::memory_order_release);
        }
        ++tbl.slots_made;
    }
    store(slot, rec);
    return slot;
}

void dm_port_writer::release(dm_port_slot slot)
{
    dm_port_cell_of(slot)->w[0].store(tbl.free_head, kDmSeqStore);
    tbl.free_head = slot;
}

int dm_port_writer::insert(dm_port_key by, int key, dm_port_slot slot)
{
    return dm_view(by).insert(key, slot);
}

void dm_port_writer::erase(dm_port_key by, int key) { dm_view(by).erase(key); }

namespace {

// Copies the record under `key` (or its head) out of one view; -1 on a miss.
template <dm_port_key By, dm_port_part Part>
int dm_port_copy_out(int key, dp_lib_port_t *pinfo)
{
    if (pinfo == nullptr) {
        return -1;
    }
    if (!dm_port_lookup_in<By, Part>(key, pinfo)) [[unlikely]] {
        DM_WARN("can not find node!\n");
        return -1;
    }
    return 0;
}

template <dm_port_key By>
int dm_port_copy_out(int key, dp_lib_port_t *pinfo, dm_port_part part)
{
    return part == dm_port_part::head ? dm_port_copy_out<By, dm_port_part::head>(key, pinfo)
                                      : dm_port_copy_out<By, dm_port_part::whole>(key, pinfo);
}

}  // namespace

int dm_lib_get_pinfo_by_ifx(int ifx, dp_lib_port_t *pinfo, dm_port_part part)
{
    return dm_port_copy_out<dm_port_key::ifx>(ifx, pinfo, part);
}

int dm_lib_get_pinfo_by_phyid(int dm_phyid, dp_lib_port_t *pinfo, dm_port_part part)
{
    return dm_port_copy_out<dm_port_key::phyid>(dm_phyid, pinfo, part);
}

int dm_lib_get_pinfo_from_ssphyid_tree(int ss_phyid, dp_lib_port_t *pinfo, dm_port_part part)
{
    return dm_port_copy_out<dm_port_key::ss_phyid>(ss_phyid, pinfo, part);
}

int dm_lib_get_pinfo_by_lsm_key(int lsm_key, dp_lib_port_t *pinfo, dm_port_part part)
{
    return dm_port_copy_out<dm_port_key::lsm_key>(lsm_key, pinfo, part);
}
