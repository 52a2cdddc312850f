// The benchmarks' chassis, messages, floor table and getter table.
#include "chassis.h"

#include <dlfcn.h>
#include <malloc.h>
#include <search.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <random>
#include <string>

#include "dm_host_ctl.h"
#include "dm_standin.h"
#include <dm_lib_pd/dm_ids.h>
#include <dm_lib_pd/dm_port_lookup.h>

// ---- playing the host's message thread ---------------------------------------

namespace {

lib_modu_handle_t captured_handlers;

}  // namespace

// The program is the host process: it keeps the handler set the library
// registers at load time, so that messages go straight to the library's data
// handler the way the host's receive thread hands them over, and passes the
// registration on to the host library.
extern "C" __attribute__((visibility("default"))) int dm_dp_lib_reg_dispatch_msg_handler(
    int module, lib_modu_handle_t *handles)
{
    using reg_fn = int (*)(int, lib_modu_handle_t *);
    static const auto next =
        reinterpret_cast<reg_fn>(dlsym(RTLD_NEXT, "dm_dp_lib_reg_dispatch_msg_handler"));
    if (module == DP_LIB_MOD_PD && handles != nullptr) {
        captured_handlers = *handles;
    }
    return next != nullptr ? next(module, handles) : -1;
}

namespace dmbench {

const lib_modu_handle_t &pd_handlers() { return captured_handlers; }

// ---- the chassis ------------------------------------------------------------

namespace {

constexpr int kPortsPerUnit = kPortsPerCard / kUnitsPerCard;

int card_of(int i) { return i / kPortsPerCard; }
// Chip IDs 100.. for the cards that can hold them; later cards repeat them
// in their records (no lookup asks the allocation about those cards).
int chipid_of(int card, int unit) { return 100 + (card % kChipSlots) * kUnitsPerCard + unit; }
// Global slot g's allocation: four chips of one ID each.
chipid_slot_t chip_slot(int g)
{
    return dmstandin::chipid_slot(
        g, {chipid_of(g, 0), chipid_of(g, 1), chipid_of(g, 2), chipid_of(g, 3)});
}

}  // namespace

dp_lib_port_t port_record(int i)
{
    const int card = card_of(i);
    const int dev = 1 + card / kCardsPerDevice;
    const int slot = card % kCardsPerDevice;
    const int lport = i % kPortsPerCard;
    const int unit = lport / kPortsPerUnit;
    const int cport = lport % kPortsPerUnit + 1;
    dp_lib_port_t p = dmstandin::port_record(dev, slot, unit, cport, lport);
    p.ifx = 0x1000 + i * 7;
    p.g_chipid = chipid_of(card, unit);
    p.medium_type = PORT_MEDIUM_FIBER;
    p.type = PORT_TGIGABIT_ETHERNET;
    p.lsm_key = i * 3 + 1;
    p.subcard_node = p.node;
    return p;
}

PortKeys keys_of(int i)
{
    const dp_lib_port_t p = port_record(i);
    PortKeys k;
    k.ifx = p.ifx;
    k.dm_phyid = p.phyid;
    k.slot_lport = p.ss_phyid;
    k.unit_port = dm_unit_port_phyid(p.devid, p.slotid, p.l_chipid, p.chip_portid);
    k.mod_port = dm_mod_port_phyid(p.g_chipid, p.chip_portid);
    k.devid = p.devid;
    k.slot = p.slotid;
    k.unit = p.l_chipid;
    k.cport = p.chip_portid;
    k.lport = p.portid;
    return k;
}

std::vector<PortKeys> shuffled_keys(int n)
{
    std::vector<int> order(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) {
        order[static_cast<size_t>(i)] = i;
    }
    std::shuffle(order.begin(), order.end(), std::mt19937(20240601u));
    std::vector<PortKeys> out;
    out.reserve(order.size());
    for (const int i : order) {
        out.push_back(keys_of(i));
    }
    return out;
}

const Messages &messages(int n)
{
    static std::map<int, std::unique_ptr<Messages>> cache;
    std::unique_ptr<Messages> &m = cache[n];
    if (m) {
        return *m;
    }
    m = std::make_unique<Messages>();
    m->add.resize(static_cast<size_t>(n) * kPortMsgLen);
    m->add_moved.resize(static_cast<size_t>(n) * kPortMsgLen);
    m->rmv.resize(static_cast<size_t>(n) * kRmvMsgLen);
    constexpr int kPortLen = static_cast<int>(sizeof(dp_lib_port_t));
    for (int i = 0; i < n; ++i) {
        dp_lib_port_t p = port_record(i);
        const size_t at = static_cast<size_t>(i);
        dmstandin::put_message(&m->add[at * kPortMsgLen], DP_LIB_MSG_PORT_INFO, DP_LIB_MOD_PD, &p,
                               kPortLen);
        dmstandin::put_message(&m->rmv[at * kRmvMsgLen], DP_LIB_MSG_PORT_RMV, DP_LIB_MOD_PD,
                               &p.phyid, 4);
        p.ifx += 1;  // interface indexes are 7 apart: still unique
        dmstandin::put_message(&m->add_moved[at * kPortMsgLen], DP_LIB_MSG_PORT_INFO, DP_LIB_MOD_PD,
                               &p, kPortLen);
    }
    return *m;
}

void send_all(const std::vector<unsigned char> &msgs, int len)
{
    for (size_t at = 0; at < msgs.size(); at += static_cast<size_t>(len)) {
        captured_handlers.data_f(const_cast<unsigned char *>(&msgs[at]), len);
    }
}

namespace {

int table_ports = 0;

// Chip IDs for every global slot, four chips of one ID each.
void allocate_chipids()
{
    static bool done = false;
    if (done) {
        return;
    }
    done = true;
    std::vector<chipid_slot_t> slots;
    for (int g = 0; g < kChipSlots; ++g) {
        slots.push_back(chip_slot(g));
    }
    const std::vector<uint8_t> m = dmstandin::addr_sync(ADDR_LIB_BS_SYNC, slots);
    dm_host_addr_data(m.data(), static_cast<int>(m.size()));
}

}  // namespace

void prepare_heap()
{
    // No trimming: a table's freed memory is where the next table is built.
    // Large buffers (messages, keys) are mapped apart from the heap.
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
    mallopt(M_MMAP_THRESHOLD, 128 * 1024);
}

namespace {

// Merges the small freed chunks, so that a dropped table's memory is one
// free region again and the next table is laid out in it from the start.
void consolidate_heap()
{
    // A request above the small-chunk sizes makes the allocator consolidate
    // (volatile: the pair must not be optimised away).
    void *volatile large = std::malloc(64 * 1024);
    std::free(large);
}

std::unique_ptr<FloorTable> floor_held;

void drop_floor()
{
    if (floor_held) {
        floor_held.reset();
        consolidate_heap();
    }
}

void empty_library()
{
    if (table_ports > 0) {
        send_all(messages(table_ports).rmv, kRmvMsgLen);
        table_ports = 0;
        consolidate_heap();
    }
}

}  // namespace

void ensure_table(int n)
{
    allocate_chipids();
    if (n == table_ports) {
        return;
    }
    drop_floor();
    empty_library();
    if (n > 0) {
        send_all(messages(n).add, kPortMsgLen);
    }
    table_ports = n;
}

void table_is(int n) { table_ports = n; }

void clear_tables()
{
    drop_floor();
    empty_library();
}

bool start_host()
{
    prepare_heap();
    dm_host_set_dbg_level(LIB_DBG_END);
    if (captured_handlers.data_f == nullptr) {
        std::fprintf(stderr, "the library did not register its handlers\n");
        return false;
    }
    attach_counted_kernel();
    return true;
}

void attach_counted_kernel()
{
    char dir[] = "/tmp/dm_bench.XXXXXX";
    if (mkdtemp(dir) == nullptr || chdir(dir) != 0 || mkdir("tmp", 0700) != 0) {
        std::perror("scratch directory");
        return;
    }
    if (FILE *f = std::fopen("tmp/dm_dev", "w")) {
        std::fclose(f);
    }
    dm_host_kdev_attach(true);
    // The directory goes when the program ends; nothing in it is kept.
    static std::string path;
    path = dir;
    std::atexit([] {
        std::remove((path + "/tmp/dm_dev").c_str());
        rmdir((path + "/tmp").c_str());
        rmdir(path.c_str());
    });
}

// ---- the floor ---------------------------------------------------------------

namespace {

int floor_compare(const void *a, const void *b)
{
    const int ka = static_cast<const dm_tree_node_t *>(a)->key;
    const int kb = static_cast<const dm_tree_node_t *>(b)->key;
    return (ka > kb) - (ka < kb);
}

}  // namespace

void FloorIndex::insert(int key, void *data)
{
    auto *node = static_cast<dm_tree_node_t *>(std::malloc(sizeof(dm_tree_node_t)));
    node->key = key;
    node->data = data;
    tsearch(node, &root, floor_compare);
}

const void *FloorIndex::find(int key) const
{
    dm_tree_node_t probe{key, nullptr};
    void *const *slot = static_cast<void *const *>(tfind(&probe, &root, floor_compare));
    return slot == nullptr ? nullptr : static_cast<const dm_tree_node_t *>(*slot)->data;
}

void FloorIndex::remove(int key)
{
    dm_tree_node_t probe{key, nullptr};
    void *slot = tfind(&probe, &root, floor_compare);
    if (slot != nullptr) {
        dm_tree_node_t *node = *static_cast<dm_tree_node_t **>(slot);
        tdelete(&probe, &root, floor_compare);
        std::free(node);
    }
}

namespace {

// twalk's visitor has no closure; the hash build is single-threaded.
FloorIndex *filling = nullptr;

void add_to_hash(const void *nodep, VISIT which, int)
{
    if (which != postorder && which != leaf) {
        return;
    }
    const auto *node = *static_cast<const dm_tree_node_t *const *>(nodep);
    uint32_t i = (static_cast<uint32_t>(node->key) * 2654435761u) & filling->mask;
    while (filling->hash[i].second != nullptr) {
        i = (i + 1) & filling->mask;
    }
    filling->hash[i] = {node->key, node->data};
}

}  // namespace

void FloorIndex::build_hash(size_t n)
{
    size_t size = 64;
    while (size < 2 * n) {
        size *= 2;
    }
    hash.assign(size, {0, nullptr});
    mask = static_cast<uint32_t>(size - 1);
    filling = this;
    twalk(root, add_to_hash);
}

FloorChips::FloorChips()
{
    for (int g = 0; g < kChipSlots; ++g) {
        slot[g] = chip_slot(g);
        for (int u = 0; u < kUnitsPerCard; ++u) {
            res[slot[g].id[u]] = {g, u, true};
        }
    }
}

int FloorChips::first_chipid(int unit, int node)
{
    const int gslot = dm_get_gslot_from_phyid(node);
    if (gslot < 0 || gslot >= kChipSlots) {
        return -1;
    }
    const chipid_slot_t &s = slot[gslot];
    if (s.status == CHIPID_VALID && unit < s.id_num / s.idnum_per_unit) {
        return s.id[s.idnum_per_unit * unit];
    }
    return -1;
}

bool FloorChips::node_unit(int chipid, int *node, int *unit)
{
    if (chipid < 0 || chipid >= 2048) {
        return false;
    }
    const Res r = res[chipid];
    *node = dm_get_phyid_from_gslot(r.gslot);
    *unit = r.unit;
    return r.alloc;
}

FloorTable::FloorTable(int n)
{
    records.reserve(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) {
        records.push_back(port_record(i));
    }
}

FloorTable::~FloorTable() { remove_all(); }

void FloorTable::add(const dp_lib_port_t &p)
{
    void *block = std::malloc(sizeof p);
    std::memcpy(block, &p, sizeof p);
    by_phyid.insert(p.phyid, block);
    by_ss_phyid.insert(p.ss_phyid, block);
    by_lsm_key.insert(p.lsm_key, block);
    by_ifx.insert(p.ifx, block);
}

void FloorTable::add_all()
{
    for (const dp_lib_port_t &p : records) {
        add(p);
    }
    build_hashes();
}

void FloorTable::build_hashes()
{
    for (FloorIndex *index : {&by_phyid, &by_ss_phyid, &by_lsm_key, &by_ifx}) {
        index->build_hash(records.size());
    }
}

void FloorTable::remove_all()
{
    for (const dp_lib_port_t &p : records) {
        void *block = const_cast<void *>(by_phyid.find(p.phyid));
        if (block == nullptr) {
            continue;
        }
        by_phyid.remove(p.phyid);
        by_ifx.remove(p.ifx);
        by_ss_phyid.remove(p.ss_phyid);
        by_lsm_key.remove(p.lsm_key);
        std::free(block);
    }
}

FloorTable &floor_table(int n)
{
    if (!floor_held || static_cast<int>(floor_held->records.size()) != n) {
        clear_tables();
        floor_held = std::make_unique<FloorTable>(n);
        floor_held->add_all();
    }
    return *floor_held;
}

FloorChips &floor_chips()
{
    static FloorChips chips;
    return chips;
}

}  // namespace dmbench
