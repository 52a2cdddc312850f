// The chassis port table: the port records and their four keyed views (by
// interface index, dm_phyid, slot_lport_phyid and lsm_key), the writers'
// lock, and the read path every port getter starts from.
//
// Readers take no lock and write no shared memory: a lookup probes a view and
// copies the record through atomic loads, between two reads of the
// table's sequence counter, and retries when a writer ran in between (after
// kDmSeqTries it waits for the writers instead). Writers hold the writers'
// lock and keep the counter odd for one whole message handler, so a lookup
// answers as if the handler ran wholly before or wholly after it.
//
// Nothing a reader may touch is ever handed back to the allocator: record
// slots live in chunks that are never freed (a removed port's slot goes on a
// free list and is reused), and a view that grows keeps its old array (see
// dm_port_table.cpp for why that stays below the size of the live table).
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "dm_lock.h"
#include "dp_pd_common.h"

// The four keyed views, in the order the show prints them.
enum class dm_port_key : int { ifx, phyid, ss_phyid, lsm_key };
constexpr int kDmPortKeys = 4;

// A record slot; slots are reused after a removal.
using dm_port_slot = uint32_t;
constexpr dm_port_slot kDmNoPort = UINT32_MAX;

// One line of a view's snapshot.
struct dm_port_entry {
    int key;
    dp_lib_port_t rec;
};

// How much of a record a lookup copies: all 124 bytes, or the head, its
// first 64 bytes (ifx up to lsm_key), which a slot keeps in one cache line.
// A head copy reads 0 in the fields after it (lsm_user_slot, lsm_user_port,
// is_parent, subcard_node, split_info); a query that needs none of those
// asks for the head and touches half the memory.
enum class dm_port_part { whole, head };
constexpr size_t kDmPortHeadBytes = 64;
static_assert(offsetof(dp_lib_port_t, lsm_key) + sizeof(int32_t) == kDmPortHeadBytes);

// Record lookups every port query starts from, lock-free, from any thread:
// 0 with the record (or its head) the view leads the key to copied into
// *pinfo, or -1 (warned "can not find node!"; *pinfo is then scratch: an
// attempt that raced a writer may have written part of a record there).
int dm_lib_get_pinfo_by_ifx(int ifx, dp_lib_port_t *pinfo, dm_port_part part = dm_port_part::whole);
int dm_lib_get_pinfo_by_phyid(int dm_phyid, dp_lib_port_t *pinfo,
                              dm_port_part part = dm_port_part::whole);
int dm_lib_get_pinfo_from_ssphyid_tree(int ss_phyid, dp_lib_port_t *pinfo,
                                       dm_port_part part = dm_port_part::whole);
int dm_lib_get_pinfo_by_lsm_key(int lsm_key, dp_lib_port_t *pinfo,
                                dm_port_part part = dm_port_part::whole);

// A copy of one view.
struct dm_port_view_copy {
    std::unique_ptr<dm_port_entry[]> lines;
    size_t count = 0;
};

// A consistent copy of all four views (writers wait while it is taken), each
// in ascending signed key order. False when memory was short: a view that
// could not be copied is left empty.
bool dm_port_snapshot(dm_port_view_copy (&views)[kDmPortKeys]);

// One message handler's hold on the table: the writers' lock and the
// sequence counter odd for the object's lifetime. Everything that changes the
// table goes through one of these; writers are the host's message threads.
class dm_port_writer : dm_hold {
public:
    dm_port_writer();
    ~dm_port_writer();

    // The slot the view leads `key` to, or kDmNoPort.
    dm_port_slot find(dm_port_key by, int key) const;
    // The record in a slot.
    dp_lib_port_t record(dm_port_slot slot) const;
    // Overwrites the record in a slot.
    void store(dm_port_slot slot, const dp_lib_port_t &rec);
    // A slot holding `rec`, or kDmNoPort when memory is short.
    dm_port_slot add(const dp_lib_port_t &rec);
    // Returns a slot to the free list (its view entries must be gone).
    void release(dm_port_slot slot);
    // Enters key -> slot: 0; 1 when the key is present (nothing changed);
    // -1 when memory is short.
    int insert(dm_port_key by, int key, dm_port_slot slot);
    // Removes the entry under `key` (nothing when absent).
    void erase(dm_port_key by, int key);

private:
    dm_seq_write_guard guard_;
};
