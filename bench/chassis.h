// What the port-table benchmarks share: a host process's hold on the
// library's data handler, a chassis of any size from 1,024 to 262,144 ports,
// the messages that fill and empty the port table, the keys of every port in
// every form a caller names it, and the floor's own table (tsearch trees of
// {key, data} nodes built the way the port table is) with the floor recipes
// the getters are measured against.
#pragma once

#include <pthread.h>

#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include "addr_common.h"
#include "alloc_count.h"
#include "dm_host.h"
#include "dm_tree.h"
#include "dp_pd_common.h"

namespace dmbench {

constexpr int kPortsPerCard = 256;
constexpr int kUnitsPerCard = 4;
constexpr int kCardsPerDevice = 32;
constexpr int kChipSlots = 64;  // global slots that can hold chip IDs

// ---- the library, as the host's receive thread sees it -----------------------

// The handler set the library registered at load time; null members until then.
const lib_modu_handle_t &pd_handlers();

// ---- the chassis --------------------------------------------------------------

// Port i sits on card i / 256 (slots 0..31 of device 1, then of device 2, and
// so on), chip (i % 256) / 64, chip port i % 64 + 1. Every key is unique and
// every port has an interface index and a global chip ID in its record.
dp_lib_port_t port_record(int i);

// Every identifier of one port, as callers name it and as the table keys it.
struct PortKeys {
    int ifx;
    int dm_phyid;    // the port table's key
    int slot_lport;  // form 6, also the ss_phyid key
    int unit_port;   // form 8
    int mod_port;    // form 7 (meaningful while the card holds chip IDs)
    int devid, slot, unit, cport, lport;
};
PortKeys keys_of(int i);
// The keys of ports 0..n-1 in one fixed random order.
std::vector<PortKeys> shuffled_keys(int n);

// Data messages for ports 0..n-1, each 16-byte head and payload, built once
// per n: 0 (add), 0 again with every interface index moved up by one (a
// re-send that changes one key per port), 2 (remove).
struct Messages {
    std::vector<unsigned char> add;
    std::vector<unsigned char> add_moved;
    std::vector<unsigned char> rmv;
};
const Messages &messages(int n);
constexpr int kPortMsgLen = 16 + static_cast<int>(sizeof(dp_lib_port_t));
constexpr int kRmvMsgLen = 16 + 4;
// Hands every message of `msgs` (each `len` bytes) to the data handler.
void send_all(const std::vector<unsigned char> &msgs, int len);

// The library's table and the floor's never exist at once: each is built in
// the heap the other left, so that both lie in the same memory in the same
// order. (Built side by side, the two land on different pages, and at 16,384
// ports, where a tree's nodes fill about the whole second-level cache, the
// placement alone moves a lookup's time by a quarter either way.)
//
// Fixes the allocator's thresholds so that freed table memory stays in the
// heap for the next table (call first in main).
void prepare_heap();
// Keeps the library's port table at exactly ports 0..n-1 (0: empty), with
// chip IDs for every global slot; drops the floor's table first. Refills only
// when n changes.
void ensure_table(int n);
// For cases that fill or empty the table themselves: it now holds n ports.
void table_is(int n);
// Empties the library's table and drops the floor's.
void clear_tables();

// What a benchmark's main does first: prepare_heap(), diagnostics off, the
// kernel stand-in attached (attach_counted_kernel); false, said on standard
// error, when the library registered no handlers.
bool start_host();

// Makes a scratch working directory with the device file "tmp/dm_dev" and
// attaches the kernel-device stand-in, answering nothing: a lookup that
// reaches the kernel shows in dm_host_kdev_requests().
void attach_counted_kernel();

// ---- the floor ---------------------------------------------------------------

// One index two ways: a tsearch tree of malloc'ed {key, data} nodes and its
// read-write lock (the structure the port table replaced, kept as the
// ingest's reference line), and the floor a user would write for lookups:
// an open-addressing hash from int key to record, at most half full.
struct FloorIndex {
    pthread_rwlock_t lock = PTHREAD_RWLOCK_INITIALIZER;
    void *root = nullptr;
    std::vector<std::pair<int, const void *>> hash;  // {key, record}; record null: empty
    uint32_t mask = 0;

    void insert(int key, void *data);
    const void *find(int key) const;
    void remove(int key);
    // Fills the hash from the tree.
    void build_hash(size_t n);
    const void *hash_find(int key) const
    {
        for (uint32_t i = (static_cast<uint32_t>(key) * 2654435761u) & mask;; i = (i + 1) & mask) {
            const auto &e = hash[i];
            if (e.second == nullptr || e.first == key) {
                return e.second;
            }
        }
    }
};

// The chip-ID allocation's two tables (by global slot, by chip ID), read
// without a lock.
struct FloorChips {
    pthread_rwlock_t lock = PTHREAD_RWLOCK_INITIALIZER;
    chipid_slot_t slot[kChipSlots] = {};
    struct Res {
        int gslot;
        int unit;
        bool alloc;
    } res[2048] = {};

    FloorChips();
    // The first chip ID of chip `unit` of the card at `node`, or -1.
    int first_chipid(int unit, int node);
    // The node and unit owning `chipid`; false when it is not allocated.
    bool node_unit(int chipid, int *node, int *unit);
};

// Records and their four indexes, built in the order the data handler builds
// them (a record, then its four entries) so that the floor walks memory of
// the same shape as the port table does.
struct FloorTable {
    pthread_rwlock_t port_lock = PTHREAD_RWLOCK_INITIALIZER;
    FloorIndex by_phyid, by_ss_phyid, by_lsm_key, by_ifx;
    std::vector<dp_lib_port_t> records;

    explicit FloorTable(int n);
    ~FloorTable();
    FloorTable(const FloorTable &) = delete;
    FloorTable &operator=(const FloorTable &) = delete;
    void add(const dp_lib_port_t &p);
    // Adds every record, then builds the lookup floor's hashes.
    void add_all();
    // The lookup floor's hashes, from the trees.
    void build_hashes();
    void remove_all();
};
// One floor table of n ports (records and indexes filled), kept until a
// table of another size, or the library's table, is asked for. Empties the
// library's table first.
FloorTable &floor_table(int n);
FloorChips &floor_chips();

// The floor's record lookup: a hash probe and a 124-byte copy of the record
// found, no lock. True on a hit.
inline bool floor_lookup(FloorTable &, FloorIndex &index, int key, dp_lib_port_t *copy)
{
    const void *rec = index.hash_find(key);
    if (rec != nullptr) {
        std::memcpy(copy, rec, sizeof *copy);
    }
    return rec != nullptr;
}

// ---- the getters and their floors ----------------------------------------------

// How a getter names its port.
enum class Input { ifx, phyid, slot_unit_port, slot_lport };
// The identifier a case passes: the interface index, a phyid form, or the
// device/slot/port numbers.
enum class Form { ifx, slot_lport, mod_port, unit_port, numbers };

struct Getter {
    const char *name;
    Input input;
    // Calls the getter on the port (id: the interface index or the phyid of
    // the case's form); returns its result folded with its outputs.
    int (*call)(int id, const PortKeys &k);
    // The floor adds the chip-ID table's lookup of the port's first chip ID.
    bool chip_lookup;
    // The floor adds a second record lookup, by the interface index found.
    bool ifx_lookup;
    // The getter hands out the reduced record (dm_port_t): the floor fills one too.
    bool reduced = false;
};
// Every exported port getter by interface index or phyid, and the two that
// build the key from device, slot and port numbers.
const std::vector<Getter> &getters();
const Getter &getter(const char *name);
// The forms a getter is measured with (phyid getters: 6 and 8).
std::vector<Form> forms_of(const Getter &g);
const char *form_name(Form f);
int id_of(const PortKeys &k, Form f);

// The floor of one getter call: the record lookups it must make (each a bare
// tfind, a 124-byte copy and two read-lock pairs) and the chip-ID lookups
// its form needs. Returns a value folded from the copies so that the work
// cannot be optimised away.
int floor_call(const Getter &g, Form f, const PortKeys &k, FloorTable &t, FloorChips &c);

// ---- counting ----------------------------------------------------------------

// Allocations this process made since it started (see alloc_count.h).
inline unsigned long allocations() { return dm_alloc_count(); }

}  // namespace dmbench
