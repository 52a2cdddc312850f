// Port-table benchmarks: every exported port getter by interface index and
// by phyid, ingest and refresh of port records through the library's data
// handler, the table's heap per port, lookup cost against table size, and
// reader throughput with and without a writer. Every timed case runs beside its
// floor, measured in the same run on the same keys (see chassis.h and
// getters.cpp for what a floor is); bench/compare turns the pairs into
// ratios and checks them against their targets.
#include <malloc.h>
#include <time.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "chassis.h"
#include "dm_host_ctl.h"
#include <dm_lib_pd/dm_port_lookup.h>

using namespace dmbench;

namespace {

constexpr int kLookupPorts = 16384;

const std::vector<PortKeys> &keys(int n)
{
    static int cached_n = -1;
    static std::vector<PortKeys> cached;
    if (cached_n != n) {
        cached = shuffled_keys(n);
        cached_n = n;
    }
    return cached;
}

// Lookups that failed over one pass of the keys: a case that misses is not
// measuring what it claims.
template <class Call>
int misses(const std::vector<PortKeys> &ks, Call call)
{
    int missed = 0;
    for (const PortKeys &k : ks) {
        missed += call(k) < 0;
    }
    return missed;
}

// Times `call` over the keys in their fixed random order and records what
// the loop allocated and asked the kernel.
template <class Call>
void time_lookups(benchmark::State &state, const std::vector<PortKeys> &ks, Call call)
{
    const int missed = misses(ks, call);
    const unsigned long allocs0 = allocations();
    const unsigned long kdev0 = dm_host_kdev_requests();
    size_t at = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(call(ks[at]));
        if (++at == ks.size()) {
            at = 0;
        }
    }
    const double allocs = static_cast<double>(allocations() - allocs0);
    const double kdev = static_cast<double>(dm_host_kdev_requests() - kdev0);
    state.SetItemsProcessed(state.iterations());
    state.counters["allocs"] = allocs;
    state.counters["kernel"] = kdev;
    state.counters["misses"] = missed;
}

// ---- getters ------------------------------------------------------------------

void getter_case(benchmark::State &state, const Getter *g, Form f, int n)
{
    ensure_table(n);
    time_lookups(state, keys(n), [g, f](const PortKeys &k) { return g->call(id_of(k, f), k); });
}

void getter_floor(benchmark::State &state, const Getter *g, Form f, int n)
{
    FloorTable &t = floor_table(n);
    FloorChips &c = floor_chips();
    time_lookups(state, keys(n),
                 [g, f, &t, &c](const PortKeys &k) { return floor_call(*g, f, k, t, c); });
}

// ---- ingest and refresh -----------------------------------------------------------

// n new ports into an empty table, through the data handler.
void ingest_case(benchmark::State &state, int n)
{
    ensure_table(0);
    const Messages &m = messages(n);
    const unsigned long allocs0 = allocations();
    for (auto _ : state) {
        send_all(m.add, kPortMsgLen);
        state.PauseTiming();
        send_all(m.rmv, kRmvMsgLen);
        state.ResumeTiming();
    }
    // Removals allocate nothing; what the loop allocated is the adds'.
    state.counters["allocs_per_port"] = static_cast<double>(allocations() - allocs0) /
                                        (static_cast<double>(state.iterations()) * n);
    state.SetItemsProcessed(state.iterations() * n);
}

// The floor per port: a 124-byte record allocated and copied, one {key, data}
// node allocated and entered with tsearch into each of four trees, and (with
// `locks`) the uncontended write-lock pairs the data handler must
// take: the port lock around it all, one index lock around the search for a
// known port and one around each of the four inserts.
void ingest_floor(benchmark::State &state, int n, bool locks)
{
    clear_tables();
    FloorTable table(n);
    pthread_rwlock_t *const pairs[] = {&table.by_phyid.lock, &table.by_phyid.lock,
                                       &table.by_ss_phyid.lock, &table.by_lsm_key.lock,
                                       &table.by_ifx.lock};
    for (auto _ : state) {
        for (const dp_lib_port_t &p : table.records) {
            if (locks) {
                pthread_rwlock_wrlock(&table.port_lock);
                for (pthread_rwlock_t *l : pairs) {
                    pthread_rwlock_wrlock(l);
                    pthread_rwlock_unlock(l);
                }
            }
            table.add(p);
            if (locks) {
                pthread_rwlock_unlock(&table.port_lock);
            }
        }
        state.PauseTiming();
        table.remove_all();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * n);
}

// Every known port re-sent: with the same keys (`moved` false) a refresh
// needs no new index node; with a new interface index it needs one.
void refresh_case(benchmark::State &state, int n, bool moved)
{
    ensure_table(n);
    const Messages &m = messages(n);
    unsigned long allocs = 0;
    for (auto _ : state) {
        const unsigned long before = allocations();
        send_all(moved ? m.add_moved : m.add, kPortMsgLen);
        allocs += allocations() - before;
        if (moved) {
            state.PauseTiming();
            send_all(m.add, kPortMsgLen);  // back to the table's usual keys
            state.ResumeTiming();
        }
    }
    state.counters["allocs_per_port"] =
        static_cast<double>(allocs) / (static_cast<double>(state.iterations()) * n);
    state.SetItemsProcessed(state.iterations() * n);
}

// ---- memory -------------------------------------------------------------------

// Heap in use, the allocator's mmapped blocks (large arrays) included.
size_t heap_in_use()
{
    const struct mallinfo2 m = mallinfo2();
    return m.uordblks + m.hblkhd;
}

// Heap the port table holds per port (records and index nodes, as the
// allocator counts them, headers and rounding included), and the same for
// the floor's table.
void memory_case(benchmark::State &state, int n)
{
    clear_tables();
    messages(n);  // built before the count: the messages are not the table's
    const size_t before = heap_in_use();
    ensure_table(n);
    const size_t table_bytes = heap_in_use() - before;
    size_t floor_bytes = 0;
    {
        FloorTable t(n);
        const size_t floor_before = heap_in_use();
        t.add_all();
        floor_bytes = heap_in_use() - floor_before;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(table_bytes);
    }
    state.counters["bytes_per_port"] = static_cast<double>(table_bytes) / n;
    state.counters["floor_bytes_per_port"] = static_cast<double>(floor_bytes) / n;
}

// ---- readers ------------------------------------------------------------------

// A writer that re-sends known ports (same keys) at a steady rate while the
// readers run: each refresh holds the port lock for writing. It sends them
// in bursts of kWriterBurst every kWriterBurst / kWriterRate seconds, as a
// host's receive thread hands on what arrived together: a wake-up per message
// would cost the two cores more in scheduling than the refreshes themselves.
constexpr int kWriterRate = 10000;  // refreshes per second
constexpr int kWriterBurst = 10;
std::atomic<bool> writer_stop{false};
std::atomic<unsigned long> writer_sent{0};
std::thread writer;

void writer_loop(int n)
{
    const Messages &m = messages(n);
    timespec next;
    clock_gettime(CLOCK_MONOTONIC, &next);
    int i = 0;
    while (!writer_stop.load(std::memory_order_relaxed)) {
        for (int b = 0; b < kWriterBurst; ++b, i = (i + 1) % n) {
            pd_handlers().data_f(
                const_cast<unsigned char *>(&m.add[static_cast<size_t>(i) * kPortMsgLen]),
                kPortMsgLen);
        }
        writer_sent.fetch_add(kWriterBurst, std::memory_order_relaxed);
        next.tv_nsec += 1000000000L / kWriterRate * kWriterBurst;
        if (next.tv_nsec >= 1000000000L) {
            next.tv_nsec -= 1000000000L;
            ++next.tv_sec;
        }
        clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &next, nullptr);
    }
}

// Readers share the key and table caches: fill them before the threads start.
void readers_setup(const benchmark::State &)
{
    ensure_table(kLookupPorts);
    keys(kLookupPorts);
}

void writer_setup(const benchmark::State &state)
{
    readers_setup(state);
    messages(kLookupPorts);
    writer_stop = false;
    writer_sent = 0;
    writer = std::thread(writer_loop, kLookupPorts);
}

void writer_teardown(const benchmark::State &)
{
    writer_stop = true;
    writer.join();
}

double thread_cpu_ns()
{
    timespec t;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) * 1e9 + static_cast<double>(t.tv_nsec);
}

// Each reader walks the keys from its own starting point, alternating the
// two lookups most callers make: a whole record by form-6 and by form-8 phyid.
// Besides the wall-clock throughput, each reader records the CPU time it
// spent per lookup: unlike the wall clock, that does not count the time
// other processes held the core, and it grows with what the readers cost
// each other (the shared locks' cache lines moving between the cores).
template <class Lookup>
void reader_loop(benchmark::State &state, Lookup lookup)
{
    const std::vector<PortKeys> &ks = keys(kLookupPorts);
    size_t at = static_cast<size_t>(state.thread_index()) * ks.size() / 2;
    const double cpu0 = thread_cpu_ns();
    for (auto _ : state) {
        const PortKeys &k = ks[at];
        benchmark::DoNotOptimize(lookup(k, (at & 1) != 0));
        if (++at == ks.size()) {
            at = 0;
        }
    }
    const double cpu = thread_cpu_ns() - cpu0;
    state.SetItemsProcessed(state.iterations());
    state.counters["cpu_ns_per_lookup"] = benchmark::Counter(
        cpu / static_cast<double>(state.iterations()), benchmark::Counter::kAvgThreads);
}

void readers_case(benchmark::State &state)
{
    reader_loop(state, [](const PortKeys &k, bool odd) {
        dm_port_t p;
        return dm_get_pinfo_by_phyid(odd ? k.unit_port : k.slot_lport, &p);
    });
    if (state.thread_index() == 0 && writer.joinable()) {
        state.counters["refreshes"] = static_cast<double>(writer_sent.load());
    }
}

// The same keys on the floor's hash with no lock: how readers scale when
// they share nothing but read-only memory.
void readers_floor(benchmark::State &state)
{
    FloorTable &t = floor_table(kLookupPorts);
    reader_loop(state, [&t](const PortKeys &k, bool odd) {
        FloorIndex &index = odd ? t.by_phyid : t.by_ss_phyid;
        dp_lib_port_t copy;
        return floor_lookup(t, index, odd ? k.dm_phyid : k.slot_lport, &copy) ? copy.ss_phyid : -1;
    });
}

void readers_floor_setup(const benchmark::State &)
{
    floor_table(kLookupPorts);
    keys(kLookupPorts);
}

// ---- the memory's own latency -------------------------------------------------------

// One dependent load after another through a random cycle of the cache lines
// of `bytes` of memory: what a lookup that must reach memory beyond the caches
// pays at least once, whatever the structure. Printed beside the growth
// series, whose largest table (32 MiB of records, 16 MiB of them the first
// lines that most lookups copy) lies out there.
void memory_latency(benchmark::State &state, size_t bytes)
{
    constexpr size_t kLine = 64 / sizeof(size_t);
    const size_t lines = bytes / 64;
    std::vector<size_t> order(lines);
    for (size_t i = 0; i < lines; ++i) {
        order[i] = i;
    }
    std::shuffle(order.begin() + 1, order.end(), std::mt19937(7));
    std::vector<size_t> next(lines * kLine);
    for (size_t i = 0; i < lines; ++i) {
        next[order[i] * kLine] = order[(i + 1) % lines] * kLine;
    }
    size_t at = 0;
    for (auto _ : state) {
        at = next[at];
        benchmark::DoNotOptimize(at);
    }
}

// ---- registration ---------------------------------------------------------------

std::string name_of(const char *kind, const Getter &g, Form f, int n)
{
    return std::string(kind) + "/" + g.name + "/" + form_name(f) + "/" + std::to_string(n);
}

void register_lookups()
{
    for (const Getter &g : getters()) {
        for (const Form f : forms_of(g)) {
            const std::string name = name_of("lookup", g, f, kLookupPorts);
            benchmark::RegisterBenchmark(name.c_str(), getter_case, &g, f, kLookupPorts);
            benchmark::RegisterBenchmark((name + ".floor").c_str(), getter_floor, &g, f,
                                         kLookupPorts);
        }
    }
}

// Sizes outermost, so that each table is filled once when the growth cases
// run in registration order.
void register_growth()
{
    const struct {
        const char *getter;
        Form form;
    } series[] = {
        {"dm_get_pinfo_by_ifx", Form::ifx},
        {"dm_get_pinfo_by_phyid", Form::slot_lport},
        {"dm_get_pinfo_by_phyid", Form::unit_port},
    };
    // Where the last-level cache ends for this process: on a shared machine
    // that can be well below the processor's nominal size.
    for (const size_t mib : {4, 8, 16, 64}) {
        const std::string name = "latency/" + std::to_string(mib) + "MiB";
        benchmark::RegisterBenchmark(name.c_str(), memory_latency, mib << 20);
    }
    for (const int n : {1024, 4096, 16384, 65536, 262144}) {
        for (const auto &s : series) {
            const Getter &g = getter(s.getter);
            const std::string name = name_of("growth", g, s.form, n);
            benchmark::RegisterBenchmark(name.c_str(), getter_case, &g, s.form, n);
            benchmark::RegisterBenchmark((name + ".floor").c_str(), getter_floor, &g, s.form, n);
        }
    }
}

void register_ingest()
{
    for (const int n : {1024, 16384}) {
        const std::string name = "ingest/" + std::to_string(n);
        benchmark::RegisterBenchmark(name.c_str(), ingest_case, n)->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark((name + ".floor").c_str(), ingest_floor, n, true)
            ->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark((name + ".bare").c_str(), ingest_floor, n, false)
            ->Unit(benchmark::kMicrosecond);
    }
    const std::string n = std::to_string(kLookupPorts);
    benchmark::RegisterBenchmark(("refresh/" + n).c_str(), refresh_case, kLookupPorts, false)
        ->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark(("refresh_moved/" + n).c_str(), refresh_case, kLookupPorts, true)
        ->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark(("memory/" + n).c_str(), memory_case, kLookupPorts)->Iterations(1);
}

void register_readers()
{
    const std::string n = std::to_string(kLookupPorts);
    benchmark::RegisterBenchmark(("readers/" + n).c_str(), readers_case)
        ->Setup(readers_setup)
        ->Threads(1)
        ->Threads(2)
        ->UseRealTime();
    benchmark::RegisterBenchmark(("readers+writer/" + n).c_str(), readers_case)
        ->Setup(writer_setup)
        ->Teardown(writer_teardown)
        ->Threads(1)
        ->Threads(2)
        ->UseRealTime();
    benchmark::RegisterBenchmark(("readers/" + n + ".floor").c_str(), readers_floor)
        ->Setup(readers_floor_setup)
        ->Threads(1)
        ->Threads(2)
        ->UseRealTime();
}

}  // namespace

int main(int argc, char **argv)
{
    if (!start_host()) {
        return 1;
    }
    register_lookups();
    register_growth();
    register_ingest();
    register_readers();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
