// Port-table benchmarks: ingest of port records through the library's data
// handler, and lookups through the exported getters by interface index and
// by each phyid form. Every case runs beside its floor, measured in the same
// run on the same keys:
//   lookup floor  the read-lock pairs the getter takes, uncontended, around a
//                 bare tfind on a tsearch tree of {key, data} nodes and a
//                 124-byte copy of the record found;
//   ingest floor  per port: a 124-byte record allocated and copied, one
//                 {key, data} node allocated and entered with tsearch into
//                 each of four trees, and the uncontended write-lock pairs
//                 the data handler takes.
// bench/compare turns the pairs into ratios.
#include <dlfcn.h>
#include <pthread.h>
#include <search.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "dm_host_ctl.h"
#include <dm_lib_pd/dm_ids.h>
#include <dm_lib_pd/dm_port_lookup.h>

// ---- playing the host's message thread ---------------------------------------

namespace {

lib_modu_handle_t pd_handlers;

}  // namespace

// The bench is the host process: it keeps the handler set the library
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
        pd_handlers = *handles;
    }
    return next != nullptr ? next(module, handles) : -1;
}

namespace {

constexpr int kMsgHead = static_cast<int>(sizeof(dp_lib_msg_h_t));
constexpr int kPortMsgLen = kMsgHead + static_cast<int>(sizeof(dp_lib_port_t));
constexpr int kRmvMsgLen = kMsgHead + 4;
constexpr int kPortsPerSlot = 256;
constexpr int kUnitsPerSlot = 4;
constexpr int kPortsPerUnit = kPortsPerSlot / kUnitsPerSlot;

// ---- the chassis ------------------------------------------------------------

// Port i: 256 ports per slot, slots 0..31 of device 1 then of device 2, four
// chips per card with 64 ports each. Every key is unique.
int gslot_of(int i) { return i / kPortsPerSlot; }
int chipid_of(int gslot, int unit) { return 100 + gslot * kUnitsPerSlot + unit; }

dp_lib_port_t port_record(int i)
{
    const int gslot = gslot_of(i);
    const int dev = 1 + gslot / 32;
    const int slot = gslot % 32;
    const int lport = i % kPortsPerSlot;
    const int unit = lport / kPortsPerUnit;
    const int cport = lport % kPortsPerUnit + 1;
    dp_lib_port_t p = {};
    p.ifx = 0x1000 + i * 7;
    p.phyid = dm_phyid_make(dev, slot, unit, cport);
    p.ss_phyid = dm_slot_lport_phyid(dev, slot, lport);
    p.node = dm_node_make(dev, slot);
    p.devid = dev;
    p.slotid = slot;
    p.portid = lport;
    p.l_chipid = unit;
    p.g_chipid = chipid_of(gslot, unit);
    p.chip_portid = cport;
    p.type = PORT_TGIGABIT_ETHERNET;
    p.lsm_key = i * 3 + 1;
    return p;
}

// Data messages 0 (add) and 2 (remove) for ports 0..n-1, built once.
struct Messages {
    std::vector<unsigned char> add;
    std::vector<unsigned char> rmv;
};

const Messages &messages(int n)
{
    static std::vector<std::pair<int, Messages>> cache;
    for (const auto &c : cache) {
        if (c.first == n) {
            return c.second;
        }
    }
    Messages m;
    m.add.resize(static_cast<size_t>(n) * kPortMsgLen);
    m.rmv.resize(static_cast<size_t>(n) * kRmvMsgLen);
    for (int i = 0; i < n; ++i) {
        const dp_lib_port_t p = port_record(i);
        dp_lib_msg_h_t head = {0, DP_LIB_MSG_PORT_INFO, DP_LIB_MOD_PD, static_cast<int>(sizeof p)};
        unsigned char *at = &m.add[static_cast<size_t>(i) * kPortMsgLen];
        std::memcpy(at, &head, sizeof head);
        std::memcpy(at + kMsgHead, &p, sizeof p);
        head.msgid = DP_LIB_MSG_PORT_RMV;
        head.len = 4;
        at = &m.rmv[static_cast<size_t>(i) * kRmvMsgLen];
        std::memcpy(at, &head, sizeof head);
        std::memcpy(at + kMsgHead, &p.phyid, 4);
    }
    cache.emplace_back(n, std::move(m));
    return cache.back().second;
}

void send_all(const std::vector<unsigned char> &msgs, int len)
{
    for (size_t at = 0; at < msgs.size(); at += static_cast<size_t>(len)) {
        pd_handlers.data_f(const_cast<unsigned char *>(&msgs[at]), len);
    }
}

void fill_table(int n) { send_all(messages(n).add, kPortMsgLen); }
void empty_table(int n) { send_all(messages(n).rmv, kRmvMsgLen); }

// Chip IDs for the first `slots` global slots, four chips each.
void allocate_chipids(int slots)
{
    struct {
        addr_lib_sync_head_t head;
        chipid_slot_t slot[64];
    } m = {};
    m.head.len = static_cast<int32_t>(sizeof m.head + sizeof(chipid_slot_t) * slots);
    m.head.type = ADDR_LIB_BS_SYNC;
    m.head.data_num = slots;
    for (int g = 0; g < slots; ++g) {
        chipid_slot_t &s = m.slot[g];
        s.status = CHIPID_VALID;
        s.gslot = g;
        s.idnum_per_unit = 1;
        s.id_num = kUnitsPerSlot;
        for (int u = 0; u < kUnitsPerSlot; ++u) {
            s.id[u] = static_cast<uint16_t>(chipid_of(g, u));
        }
    }
    dm_host_addr_data(&m, m.head.len);
}

// ---- the floor's table: tsearch trees of {key, data} nodes ------------------

int floor_compare(const void *a, const void *b)
{
    const int ka = static_cast<const dm_tree_node_t *>(a)->key;
    const int kb = static_cast<const dm_tree_node_t *>(b)->key;
    return (ka > kb) - (ka < kb);
}

struct FloorIndex {
    pthread_rwlock_t lock = PTHREAD_RWLOCK_INITIALIZER;
    void *root = nullptr;

    void insert(int key, void *data)
    {
        auto *node = static_cast<dm_tree_node_t *>(std::malloc(sizeof(dm_tree_node_t)));
        node->key = key;
        node->data = data;
        tsearch(node, &root, floor_compare);
    }
    const void *find(int key) const
    {
        dm_tree_node_t probe{key, nullptr};
        void *const *slot = static_cast<void *const *>(tfind(&probe, &root, floor_compare));
        return slot == nullptr ? nullptr : static_cast<const dm_tree_node_t *>(*slot)->data;
    }
    void remove(int key)
    {
        dm_tree_node_t probe{key, nullptr};
        void *slot = tfind(&probe, &root, floor_compare);
        if (slot != nullptr) {
            dm_tree_node_t *node = *static_cast<dm_tree_node_t **>(slot);
            tdelete(&probe, &root, floor_compare);
            std::free(node);
        }
    }
};

// Records and their four indexes, built and torn down in the order the data
// handler and the removals do it (a record, then its four entries; removal in
// message order), so that the floor walks memory of the same shape as the
// port table does.
struct FloorTable {
    pthread_rwlock_t port_lock = PTHREAD_RWLOCK_INITIALIZER;
    FloorIndex by_phyid, by_ss_phyid, by_lsm_key, by_ifx;
    std::vector<dp_lib_port_t> records;

    explicit FloorTable(int n)
    {
        for (int i = 0; i < n; ++i) {
            records.push_back(port_record(i));
        }
    }
    void add(const dp_lib_port_t &p)
    {
        void *block = std::malloc(sizeof p);
        std::memcpy(block, &p, sizeof p);
        by_phyid.insert(p.phyid, block);
        by_ss_phyid.insert(p.ss_phyid, block);
        by_lsm_key.insert(p.lsm_key, block);
        by_ifx.insert(p.ifx, block);
    }
    void add_all()
    {
        for (const dp_lib_port_t &p : records) {
            add(p);
        }
    }
    void remove_all()
    {
        for (const dp_lib_port_t &p : records) {
            void *block = const_cast<void *>(by_phyid.find(p.phyid));
            by_phyid.remove(p.phyid);
            by_ifx.remove(p.ifx);
            by_ss_phyid.remove(p.ss_phyid);
            by_lsm_key.remove(p.lsm_key);
            std::free(block);
        }
    }
};

// Keys of ports 0..n-1 in one fixed random order: as the caller names the
// port (`table_key` false) or as the table is searched for it (true).
enum class Form { ifx, slot_lport, mod_port, unit_port };

std::vector<int> keys(int n, Form form, bool table_key)
{
    std::vector<int> order(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) {
        order[static_cast<size_t>(i)] = i;
    }
    std::shuffle(order.begin(), order.end(), std::mt19937(20240601u));
    std::vector<int> out;
    for (const int i : order) {
        const dp_lib_port_t p = port_record(i);
        switch (form) {
        case Form::ifx:
            out.push_back(p.ifx);
            break;
        case Form::slot_lport:
            out.push_back(p.ss_phyid);
            break;
        case Form::mod_port:
            out.push_back(table_key ? p.phyid : dm_mod_port_phyid(p.g_chipid, p.chip_portid));
            break;
        case Form::unit_port:
            out.push_back(table_key
                              ? p.phyid
                              : dm_unit_port_phyid(p.devid, p.slotid, p.l_chipid, p.chip_portid));
            break;
        }
    }
    return out;
}

// ---- lookups ----------------------------------------------------------------

void lookup_case(benchmark::State &state, Form form, int n)
{
    allocate_chipids((n + kPortsPerSlot - 1) / kPortsPerSlot);
    fill_table(n);
    const std::vector<int> ks = keys(n, form, false);
    size_t k = 0;
    for (auto _ : state) {
        dm_port_t pinfo;
        const int ret = form == Form::ifx ? dm_get_pinfo_by_ifx(ks[k], &pinfo)
                                          : dm_get_pinfo_by_phyid(ks[k], &pinfo);
        benchmark::DoNotOptimize(ret);
        benchmark::DoNotOptimize(pinfo);
        if (++k == ks.size()) {
            k = 0;
        }
    }
    state.SetItemsProcessed(state.iterations());
    empty_table(n);
}

void lookup_floor(benchmark::State &state, Form form, int n)
{
    FloorTable table(n);
    table.add_all();
    FloorIndex &index = form == Form::ifx          ? table.by_ifx
                        : form == Form::slot_lport ? table.by_ss_phyid
                                                   : table.by_phyid;
    const std::vector<int> ks = keys(n, form, true);
    // A form-7 lookup also reads the chip-ID table under its own lock.
    pthread_rwlock_t chip_lock = PTHREAD_RWLOCK_INITIALIZER;
    const bool chip_pair = form == Form::mod_port;
    size_t k = 0;
    for (auto _ : state) {
        if (chip_pair) {
            pthread_rwlock_rdlock(&chip_lock);
            pthread_rwlock_unlock(&chip_lock);
        }
        dp_lib_port_t copy;
        pthread_rwlock_rdlock(&table.port_lock);
        pthread_rwlock_rdlock(&index.lock);
        const void *rec = index.find(ks[k]);
        if (rec != nullptr) {
            std::memcpy(&copy, rec, sizeof copy);
        }
        pthread_rwlock_unlock(&index.lock);
        pthread_rwlock_unlock(&table.port_lock);
        benchmark::DoNotOptimize(rec);
        benchmark::DoNotOptimize(copy);
        if (++k == ks.size()) {
            k = 0;
        }
    }
    state.SetItemsProcessed(state.iterations());
    table.remove_all();
}

// ---- ingest -----------------------------------------------------------------

void ingest_case(benchmark::State &state, int n)
{
    const Messages &m = messages(n);
    for (auto _ : state) {
        send_all(m.add, kPortMsgLen);
        state.PauseTiming();
        send_all(m.rmv, kRmvMsgLen);
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * n);
}

void ingest_floor(benchmark::State &state, int n)
{
    FloorTable table(n);
    // The data handler's index lock pairs for a new port: the take-over
    // search and the insert into the dm_phyid index, then one per other index.
    pthread_rwlock_t *const pairs[] = {&table.by_phyid.lock, &table.by_phyid.lock,
                                       &table.by_ss_phyid.lock, &table.by_lsm_key.lock,
                                       &table.by_ifx.lock};
    for (auto _ : state) {
        for (const dp_lib_port_t &p : table.records) {
            pthread_rwlock_wrlock(&table.port_lock);
            for (pthread_rwlock_t *l : pairs) {
                pthread_rwlock_wrlock(l);
                pthread_rwlock_unlock(l);
            }
            table.add(p);
            pthread_rwlock_unlock(&table.port_lock);
        }
        state.PauseTiming();
        table.remove_all();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * n);
}

// ---- registration -----------------------------------------------------------

std::string case_name(const char *base, int n)
{
    std::string name(base);
    name += '/';
    name += std::to_string(n);
    return name;
}

void register_case(const std::string &name, void (*run)(benchmark::State &, Form, int), Form form,
                   int n)
{
    benchmark::RegisterBenchmark(name.c_str(), run, form, n);
}

void register_all()
{
    for (const int n : {1024, 16384}) {
        const std::string name = case_name("ingest", n);
        benchmark::RegisterBenchmark(name.c_str(), ingest_case, n)->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark((name + ".floor").c_str(), ingest_floor, n)
            ->Unit(benchmark::kMicrosecond);
    }
    const struct {
        const char *name;
        Form form;
    } forms[] = {
        {"lookup_ifx", Form::ifx},
        {"lookup_slot_lport_phyid", Form::slot_lport},
        {"lookup_mod_port_phyid", Form::mod_port},
        {"lookup_unit_port_phyid", Form::unit_port},
    };
    for (const int n : {1024, 16384}) {
        for (const auto &f : forms) {
            const std::string name = case_name(f.name, n);
            register_case(name, lookup_case, f.form, n);
            register_case(name + ".floor", lookup_floor, f.form, n);
        }
    }
}

}  // namespace

int main(int argc, char **argv)
{
    dm_host_set_dbg_level(LIB_DBG_END);
    if (pd_handlers.data_f == nullptr) {
        std::fprintf(stderr, "the library did not register its handlers\n");
        return 1;
    }
    register_all();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
