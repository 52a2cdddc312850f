// Port lookups that the tables can answer allocate nothing and make no system
// call, and re-sending, re-keying or adding a port allocates nothing while
// the table's slots and views have room. Run by ctest as a smoke test of
// the benchmarks (label "bench").
//
// Allocations are counted by the program's own allocator entry points. System
// calls are ruled out by running the lookups in a child process whose
// seccomp filter lets it make no system call but exit: any other kills it.
// The program keeps the handler set the library registers, as a host does,
// so that messages reach the data handler without the stand-in's own copy.
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "dm_test_env.h"
#include <dm_lib_pd/dm_ids.h>
#include <dm_lib_pd/dm_port_lookup.h>

// The program's own allocator entry points count (alloc_count.cpp); the
// benchmarks are not built under a sanitizer, which owns the allocator.
#include "alloc_count.h"
#include "chassis.h"

namespace {

// Allocations made while fn runs (only this thread runs meanwhile).
template <class Fn>
unsigned long allocations_in(Fn fn)
{
    const unsigned long before = dm_alloc_count();
    fn();
    return dm_alloc_count() - before;
}

}  // namespace

namespace {

// Hands a port record (data message 0) to the data handler from the stack.
void send_port(const dp_lib_port_t &p)
{
    unsigned char msg[sizeof(dp_lib_msg_h_t) + sizeof p];
    dmstandin::put_message(msg, DP_LIB_MSG_PORT_INFO, DP_LIB_MOD_PD, &p, sizeof p);
    dmbench::pd_handlers().data_f(msg, static_cast<int>(sizeof msg));
}

// ---- the chassis ----------------------------------------------------------------------

constexpr int kChip0 = 43;  // chip IDs of units 0 and 1 of this card, slot 3
constexpr int kChip1 = 44;
constexpr int kTgeLlcb = 8;  // link-layer type of PORT_TGIGABIT_ETHERNET

dp_lib_port_t port(int unit, int cport, int lport, int ifx, int lsm_key)
{
    dp_lib_port_t p = dmstandin::port_record(1, 3, unit, cport, lport);
    p.ifx = ifx;
    p.type = PORT_TGIGABIT_ETHERNET;
    p.lsm_key = lsm_key;
    return p;
}

// One call of a getter as an application makes it; true when it answered.
struct Lookup {
    std::string what;
    std::function<bool()> call;
};

// A call of a getter of one output, or of two, at `id`.
template <class Out>
std::function<bool()> one_out(int (*get)(int, Out *), int id)
{
    return [=] {
        Out out{};
        return get(id, &out) == 0;
    };
}
std::function<bool()> two_out(int (*get)(int, int *, int *), int id)
{
    return [=] {
        int a = 0;
        int b = 0;
        return get(id, &a, &b) == 0;
    };
}

// Every port getter, by interface index and by phyids of forms 6, 7 and 8,
// on a port the table knows in full (interface index and chip ID).
std::vector<Lookup> every_lookup(const dp_lib_port_t &p)
{
    const int forms[] = {p.ss_phyid, dm_mod_port_phyid(kChip1, p.chip_portid),
                         dm_unit_port_phyid(1, 3, p.l_chipid, p.chip_portid)};
    std::vector<Lookup> all = {
        {"pinfo_by_ifx", one_out(dm_get_pinfo_by_ifx, p.ifx)},
        {"is_on_local_switch",
         [=] { return dm_port_is_on_local_switch(static_cast<unsigned>(p.ifx)); }},
        {"phyid_from_ifx", one_out(dm_get_phyid_from_ifx, p.ifx)},
        {"phyid_by_slot_unit_port",
         [=] {
             int out;
             return dm_get_phyid_by_slot_unit_port(1, 3, p.l_chipid, p.chip_portid, &out) == 0;
         }},
        {"phyid_by_slot_lport",
         [=] {
             int out;
             return dm_get_phyid_by_slot_lport(1, 3, p.portid, &out) == 0;
         }},
    };
    for (const int id : forms) {
        const std::string f = " form " + std::to_string(dm_phyid_form(id));
        const Lookup by_phyid[] = {
            {"chipid_port", two_out(dm_get_chipid_port_from_phyid, id)},
            {"pinfo_by_phyid", one_out(dm_get_pinfo_by_phyid, id)},
            {"subcard_node", one_out(dm_get_subcard_node_by_phyid, id)},
            {"ifindex", one_out(dm_get_ifindex_from_phyid, id)},
            {"unit_port", two_out(dm_get_unit_port_from_phyid, id)},
            {"node_lport", two_out(dm_get_node_lport_from_phyid, id)},
            {"sub_node", one_out(dm_get_sub_node_from_port_phyid, id)},
            {"medium_switch", one_out(dm_get_port_medium_switch, id)},
            {"medium_type", one_out(dm_get_port_medium_type, id)},
            {"port_type", one_out(dm_get_port_type, id)},
            {"is_on_local_device", [=] { return dm_port_is_on_local_device(id); }},
        };
        for (const Lookup &l : by_phyid) {
            all.push_back({l.what + f, l.call});
        }
    }
    return all;
}

// Runs fn in a child process that may make no system call but exit: the
// child's exit status when it got that far, or the signal that killed it
// (as 1000 + signal number).
int run_without_system_calls(const std::function<int()> &fn)
{
    std::fflush(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        struct sock_filter filter[] = {
            BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(struct seccomp_data, arch)),
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, AUDIT_ARCH_X86_64, 1, 0),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS),
            BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(struct seccomp_data, nr)),
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_exit_group, 0, 1),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS),
        };
        struct sock_fprog prog = {static_cast<unsigned short>(sizeof filter / sizeof filter[0]),
                                  filter};
        if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
            prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &prog) != 0) {
            _exit(100);
        }
        const int status = fn();
        syscall(__NR_exit_group, status);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    if (WIFSIGNALED(status)) {
        return 1000 + WTERMSIG(status);
    }
    return WEXITSTATUS(status);
}

// This card is device 1, slot 3, chips 43 and 44. P is known in full; Q has
// no interface index, so its record cannot answer for one and the kernel is
// asked (the driver knows it as 0x777).
class AllocFreeLookup : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_NE(dmbench::pd_handlers().data_f, nullptr);
        dm_host_set_dbg_level(LIB_DBG_END);  // a printed message is a system call
        dm_host_set_my_card(dm_node_make(1, 3), 3, 10, DM_TYPE_LC);
        dmtest::alloc_chipids(3, {kChip0, kChip1});
        dir_.make_dev_file();
        dm_host_kdev_attach(true);
        dm_host_kdev_set_ifx(q_.lsm_key, kTgeLlcb, 0x777);
        p_.g_chipid = kChip1;
        send_port(p_);
        send_port(q_);
        send_port(r_);
    }
    void TearDown() override { dm_host_kdev_attach(false); }

    dmtest::ScratchDir dir_;
    dp_lib_port_t p_ = port(1, 10, 5, 0x500, 77);
    dp_lib_port_t q_ = port(0, 2, 6, 0, 78);
    dp_lib_port_t r_ = port(0, 3, 7, 0x600, 79);
};

TEST_F(AllocFreeLookup, LookupsTheTablesAnswerAllocateNothingAndLeaveTheKernelAlone)
{
    const std::vector<Lookup> lookups = every_lookup(p_);
    for (const Lookup &l : lookups) {
        SCOPED_TRACE(l.what);
        bool answered = false;
        const unsigned long kernel = dm_host_kdev_requests();
        EXPECT_EQ(allocations_in([&] { answered = l.call(); }), 0u);
        EXPECT_TRUE(answered);
        EXPECT_EQ(dm_host_kdev_requests(), kernel);
    }
    // Misses cost nothing either, whatever the form.
    for (const int id : {dm_slot_lport_phyid(1, 9, 9), dm_unit_port_phyid(1, 9, 0, 1),
                         dm_mod_port_phyid(99, 1), 0x09000000}) {
        dm_port_t out;
        EXPECT_EQ(allocations_in([&] { EXPECT_EQ(dm_get_pinfo_by_phyid(id, &out), -1); }), 0u);
    }

    // The counters see what they should: a port without an interface index
    // sends its getter to the kernel, and the show allocates its snapshot.
    int ifx = 0;
    const unsigned long kernel = dm_host_kdev_requests();
    ASSERT_EQ(dm_get_ifindex_from_phyid(q_.ss_phyid, &ifx), 0);
    EXPECT_EQ(ifx, 0x777);
    EXPECT_EQ(dm_host_kdev_requests(), kernel + 1);
    EXPECT_GT(allocations_in([] { dm_host_show(DP_LIB_DBG_SHOW_ALL_PORT); }), 0u);
}

TEST_F(AllocFreeLookup, LookupsTheTablesAnswerMakeNoSystemCall)
{
    const std::vector<Lookup> lookups = every_lookup(p_);
    // Exit status: how many lookups failed.
    const int status = run_without_system_calls([&] {
        int failed = 0;
        for (const Lookup &l : lookups) {
            failed += l.call() ? 0 : 1;
        }
        return failed;
    });
    EXPECT_EQ(status, 0) << "1000 + n: killed by signal n (a system call was made)";

    // The filter does catch one: asking for Q's interface index opens the
    // device file, and the child dies of it.
    const int kernel = run_without_system_calls([&] {
        int ifx = 0;
        return dm_get_ifindex_from_phyid(q_.ss_phyid, &ifx) == 0 ? 0 : 1;
    });
    EXPECT_EQ(kernel, 1000 + SIGSYS);
}

TEST_F(AllocFreeLookup, ResendsAndReKeysAllocateNothing)
{
    auto found = [](const dp_lib_port_t &want) {
        dm_port_t by_ifx = {}, by_ss = {}, by_unit = {};
        const int unit_port = dm_unit_port_phyid(1, 3, want.l_chipid, want.chip_portid);
        return dm_get_pinfo_by_ifx(want.ifx, &by_ifx) == 0 && by_ifx.phyid == want.ss_phyid &&
               dm_get_pinfo_by_phyid(want.ss_phyid, &by_ss) == 0 && by_ss.ifx == want.ifx &&
               dm_get_pinfo_by_phyid(unit_port, &by_unit) == 0 && by_unit.portid == want.portid;
    };

    // The same record again: every entry already leads to it.
    EXPECT_EQ(allocations_in([&] { send_port(p_); }), 0u);
    EXPECT_TRUE(found(p_));

    // A new interface index; the old one is gone.
    dp_lib_port_t moved = p_;
    moved.ifx = 0x501;
    EXPECT_EQ(allocations_in([&] { send_port(moved); }), 0u);
    EXPECT_TRUE(found(moved));
    dm_port_t out;
    EXPECT_EQ(dm_get_pinfo_by_ifx(0x500, &out), -1);

    // New slot/local-port phyid and interface-manager key.
    dp_lib_port_t rekeyed = moved;
    rekeyed.ss_phyid = dm_slot_lport_phyid(1, 3, 15);
    rekeyed.portid = 15;
    rekeyed.lsm_key = 177;
    EXPECT_EQ(allocations_in([&] { send_port(rekeyed); }), 0u);
    EXPECT_TRUE(found(rekeyed));
    EXPECT_EQ(dm_get_pinfo_by_phyid(p_.ss_phyid, &out), -1);

    // Taking R's interface index over: R loses the entry, the port gets one.
    dp_lib_port_t takes = rekeyed;
    takes.ifx = r_.ifx;
    EXPECT_EQ(allocations_in([&] { send_port(takes); }), 0u);
    EXPECT_TRUE(found(takes));

    // A port left half indexed (its key was held when it was new) is
    // completed by its next re-send, which takes the key over.
    dp_lib_port_t late = port(1, 20, 20, 0x900, r_.lsm_key);
    send_port(late);
    EXPECT_EQ(dm_get_pinfo_by_ifx(0x900, &out), -1);  // stopped at the held key
    EXPECT_EQ(allocations_in([&] { send_port(late); }), 0u);
    EXPECT_TRUE(found(late));

    // A brand-new port takes a free slot and free entries.
    EXPECT_EQ(allocations_in([&] { send_port(port(1, 11, 8, 0x800, 80)); }), 0u);
}

}  // namespace
