// A fixed mix of port-table work for instruction counting under callgrind
// (bench/callgrind.sh): ingest of N ports, their refresh, every getter and
// form over every port, each beside its floor. Each phase runs instrumented
// between a zeroing and a dump of callgrind's counters, named after the
// phase, and the program prints "PHASE COUNT" for it, so that instructions
// per lookup or per port are the dump's total over COUNT. Outside callgrind
// the requests do nothing and the program just runs the mix.
//
// Exits 1 when a lookup failed or reached the kernel: every port of the mix
// is known in full.
//
// usage: dm_port_mix [N]            the mix over N ports (default and at
//                                   most 16384: every card holds chip IDs)
//        dm_port_mix --growth N     only the growth series' lookups, over
//                                   N ports (up to 262144)
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "chassis.h"
#include "dm_host_ctl.h"

#ifdef DM_HAVE_CALLGRIND
#include <valgrind/callgrind.h>
#else
#define CALLGRIND_START_INSTRUMENTATION
#define CALLGRIND_STOP_INSTRUMENTATION
#define CALLGRIND_ZERO_STATS
#define CALLGRIND_DUMP_STATS_AT(name) ((void)(name))
#endif

using namespace dmbench;

namespace {

// Keeps results alive without a store the compiler could drop, and counts
// the lookups that failed (every port of the mix exists in full).
volatile int sink;
int failed;

void keep(int result)
{
    sink = result;
    failed += result < 0;
}

// Runs one phase between a zeroing and a dump of callgrind's counters.
// The program runs uninstrumented (--instr-atstart=no) outside the phases,
// so that building large tables under callgrind stays quick.
template <class Work>
void phase(const std::string &name, long count, Work work)
{
    CALLGRIND_START_INSTRUMENTATION;
    CALLGRIND_ZERO_STATS;
    work();
    CALLGRIND_DUMP_STATS_AT(name.c_str());
    CALLGRIND_STOP_INSTRUMENTATION;
    std::printf("%s %ld\n", name.c_str(), count);
}

struct Call {
    const Getter *getter;
    Form form;
};

std::vector<Call> every_call()
{
    std::vector<Call> calls;
    for (const Getter &g : getters()) {
        for (const Form f : forms_of(g)) {
            calls.push_back({&g, f});
        }
    }
    return calls;
}

void ingest_floor(FloorTable &t)
{
    for (const dp_lib_port_t &p : t.records) {
        pthread_rwlock_wrlock(&t.port_lock);
        for (pthread_rwlock_t *l : {&t.by_phyid.lock, &t.by_phyid.lock, &t.by_ss_phyid.lock,
                                    &t.by_lsm_key.lock, &t.by_ifx.lock}) {
            pthread_rwlock_wrlock(l);
            pthread_rwlock_unlock(l);
        }
        t.add(p);
        pthread_rwlock_unlock(&t.port_lock);
    }
}

// The getters and forms of the growth series, over n ports.
void growth_mix(int n)
{
    const Call series[] = {
        {&getter("dm_get_pinfo_by_ifx"), Form::ifx},
        {&getter("dm_get_pinfo_by_phyid"), Form::slot_lport},
        {&getter("dm_get_pinfo_by_phyid"), Form::unit_port},
    };
    const std::vector<PortKeys> ks = shuffled_keys(n);
    ensure_table(n);
    for (const Call &c : series) {
        phase(std::string("growth/") + c.getter->name + "/" + form_name(c.form), n, [&] {
            for (const PortKeys &k : ks) {
                keep(c.getter->call(id_of(k, c.form), k));
            }
        });
    }
    FloorTable &floor = floor_table(n);
    FloorChips &chips = floor_chips();
    for (const Call &c : series) {
        const std::string name = std::string("growth/") + c.getter->name + "/" + form_name(c.form);
        phase(name + ".floor", n, [&] {
            for (const PortKeys &k : ks) {
                keep(floor_call(*c.getter, c.form, k, floor, chips));
            }
        });
    }
}

// Ingest, refresh and every getter and form over n ports, each beside its floor.
void full_mix(int n)
{
    ensure_table(0);
    const Messages &m = messages(n);
    const std::vector<PortKeys> ks = shuffled_keys(n);
    const std::vector<Call> calls = every_call();

    phase("ingest", n, [&] { send_all(m.add, kPortMsgLen); });
    table_is(n);
    FloorTable floor(n);
    phase("ingest.floor", n, [&] { ingest_floor(floor); });
    floor.build_hashes();
    phase("refresh", n, [&] { send_all(m.add, kPortMsgLen); });

    FloorChips &chips = floor_chips();
    // The mix: port after port in random order, each asked by the next
    // getter and form in turn.
    phase("lookup_mix", n, [&] {
        for (size_t i = 0; i < ks.size(); ++i) {
            const Call &c = calls[i % calls.size()];
            keep(c.getter->call(id_of(ks[i], c.form), ks[i]));
        }
    });
    phase("lookup_mix.floor", n, [&] {
        for (size_t i = 0; i < ks.size(); ++i) {
            const Call &c = calls[i % calls.size()];
            keep(floor_call(*c.getter, c.form, ks[i], floor, chips));
        }
    });
    for (const Call &c : calls) {
        const std::string name = std::string("lookup/") + c.getter->name + "/" + form_name(c.form);
        phase(name, n, [&] {
            for (const PortKeys &k : ks) {
                keep(c.getter->call(id_of(k, c.form), k));
            }
        });
        phase(name + ".floor", n, [&] {
            for (const PortKeys &k : ks) {
                keep(floor_call(*c.getter, c.form, k, floor, chips));
            }
        });
    }
}

}  // namespace

int main(int argc, char **argv)
{
    const bool growth = argc > 1 && std::strcmp(argv[1], "--growth") == 0;
    const char *size = argc > (growth ? 2 : 1) ? argv[growth ? 2 : 1] : "16384";
    const int n = std::atoi(size);
    if (n < 1 || n > (growth ? 262144 : 16384)) {
        std::fprintf(stderr, "usage: dm_port_mix [N <= 16384] | --growth N <= 262144\n");
        return 2;
    }
    if (!start_host()) {
        return 1;
    }
    if (growth) {
        growth_mix(n);
    } else {
        full_mix(n);
    }
    const unsigned long kernel = dm_host_kdev_requests();
    std::printf("kernel %lu\n", kernel);
    if (failed != 0 || kernel != 0) {
        std::fprintf(stderr, "%d lookups failed, %lu reached the kernel\n", failed, kernel);
        return 1;
    }
    return 0;
}
