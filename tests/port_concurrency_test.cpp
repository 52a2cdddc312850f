// Port lookups of every form running beside a writer that adds, refreshes,
// re-keys and removes ports and changes the chip-ID allocation: every answer
// must describe one port as it was sent, never a mix of two versions.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "dm_test_env.h"
#include <dm_lib_pd/dm_ids.h>
#include <dm_lib_pd/dm_port_lookup.h>

namespace {

constexpr int kPorts = 48;
constexpr int kReaders = 3;
// The writer runs at least kMinRounds and stops after about a second (the
// test's length is bounded, its verdict never depends on time).
constexpr int kMinRounds = 50;
constexpr int kMaxRounds = 5000;
constexpr auto kWriterTime = std::chrono::seconds(1);

// Port k lives in slot 1 + k / 16 of device 1, on unit (k / 8) % 2, chip
// port k % 8 + 1. It has two possible local port numbers (it is re-keyed
// between them), interface indexes and interface manager's keys that name k,
// and a generation stamp in two fields so that a torn copy shows.
int slot_of(int k) { return 1 + k / 16; }
int unit_of(int k) { return (k / 8) % 2; }
int cport_of(int k) { return k % 8 + 1; }
int lport_of(int k, int alt) { return k % 16 + 1 + 32 * alt; }
int ifx_of(int k, int gen) { return (k << 8) | (gen & 0xFF) | 0x10000; }
int port_of_ifx(int ifx) { return (ifx & ~0x10000) >> 8; }
// Chip IDs of a slot's unit in either of the two allocations the writer switches between.
int chipid_of(int slot, int unit, int set) { return 100 + set * 50 + slot * 2 + unit; }

dp_lib_port_t port(int k, int gen)
{
    dp_lib_port_t p = {};
    p.ifx = ifx_of(k, gen);
    p.phyid = dm_phyid_make(1, slot_of(k), unit_of(k), cport_of(k));
    p.ss_phyid = dm_slot_lport_phyid(1, slot_of(k), lport_of(k, gen % 2));
    p.node = dm_node_make(1, slot_of(k));
    p.devid = 1;
    p.slotid = slot_of(k);
    p.subslotid = gen;
    p.portid = lport_of(k, gen % 2);
    p.l_chipid = unit_of(k);
    p.g_chipid = 1000 + gen;
    p.chip_portid = cport_of(k);
    p.type = PORT_GIGABIT_ETHERNET;
    p.lsm_key = k * 4 + gen % 4;
    return p;
}

void send_chipids(int slot, int set, bool valid)
{
    struct {
        addr_lib_sync_head_t head;
        chipid_slot_t slot;
    } m = {};
    m.head.len = static_cast<int32_t>(sizeof m);
    m.head.type = ADDR_LIB_BS_SYNC;
    m.head.data_num = 1;
    m.slot.status = valid ? CHIPID_VALID : CHIPID_NONE;
    m.slot.gslot = slot;
    m.slot.idnum_per_unit = 1;
    m.slot.id_num = 2;
    m.slot.id[0] = static_cast<uint16_t>(chipid_of(slot, 0, set));
    m.slot.id[1] = static_cast<uint16_t>(chipid_of(slot, 1, set));
    dm_host_addr_data(&m, static_cast<int>(sizeof m));
}

// Collects the first few inconsistencies the readers see.
class Findings {
public:
    void add(const std::string &what)
    {
        std::lock_guard<std::mutex> g(mu_);
        if (list_.size() < 10) {
            list_.push_back(what);
        }
        ++count_;
    }
    std::string report()
    {
        std::lock_guard<std::mutex> g(mu_);
        std::string out = std::to_string(count_) + " inconsistent answers";
        for (const std::string &s : list_) {
            out += "\n  " + s;
        }
        return out;
    }
    size_t count()
    {
        std::lock_guard<std::mutex> g(mu_);
        return count_;
    }

private:
    std::mutex mu_;
    std::vector<std::string> list_;
    size_t count_ = 0;
};

// A reduced record must be one version of port k, whole.
void check_record(const dm_port_t &got, int k, const char *how, Findings &bad)
{
    const int gen = got.subslotid;
    const bool whole = got.devid == 1 && got.slotid == slot_of(k) && got.node == dm_node_make(1, slot_of(k)) &&
                       got.l_chipid == unit_of(k) && got.chip_portid == cport_of(k) &&
                       got.g_chipid == 1000 + gen && got.portid == lport_of(k, gen % 2) &&
                       got.phyid == dm_slot_lport_phyid(1, slot_of(k), got.portid) &&
                       (got.ifx == 0 || port_of_ifx(got.ifx) == k);
    if (!whole) {
        bad.add(std::string(how) + " port " + std::to_string(k) + " gen " + std::to_string(gen));
    }
}

void read_once(int k, int alt, Findings &bad)
{
    dm_port_t got;
    const int ss = dm_slot_lport_phyid(1, slot_of(k), lport_of(k, alt));
    if (dm_get_pinfo_by_phyid(ss, &got) == 0) {
        check_record(got, k, "form 6", bad);
        if (got.phyid != ss) {
            bad.add("form 6 key not carried");
        }
    }
    const int unit_port = dm_unit_port_phyid(1, slot_of(k), unit_of(k), cport_of(k));
    if (dm_get_pinfo_by_phyid(unit_port, &got) == 0) {
        check_record(got, k, "form 8", bad);
    }
    const int mod_port = dm_mod_port_phyid(chipid_of(slot_of(k), unit_of(k), alt), cport_of(k));
    if (dm_get_pinfo_by_phyid(mod_port, &got) == 0) {
        check_record(got, k, "form 7", bad);
    }
    const int ifx = ifx_of(k, alt + 2 * (k % 3));
    if (dm_get_pinfo_by_ifx(ifx, &got) == 0) {
        check_record(got, k, "ifx", bad);
        if (got.ifx != ifx) {
            bad.add("ifx key not carried");
        }
    }
    int node = 0, lport = 0;
    if (dm_get_node_lport_from_phyid(ss, &node, &lport) == 0 &&
        (node != dm_node_make(1, slot_of(k)) || lport != lport_of(k, alt))) {
        bad.add("node/lport of port " + std::to_string(k));
    }
    int chipid = 0, cport = 0;
    if (dm_get_chipid_port_from_phyid(unit_port, &chipid, &cport) == 0 &&
        (cport != cport_of(k) || (chipid != chipid_of(slot_of(k), unit_of(k), 0) &&
                                  chipid != chipid_of(slot_of(k), unit_of(k), 1)))) {
        bad.add("chip ID of port " + std::to_string(k));
    }
    int phyid = 0;
    if (dm_get_phyid_from_ifx(ifx, &phyid) == 0 && dm_mod_port_port(phyid) != cport_of(k)) {
        bad.add("mod_port_phyid of ifx " + std::to_string(ifx));
    }
    int found_ifx = 0;
    if (dm_get_ifindex_from_phyid(unit_port, &found_ifx) == 0 && port_of_ifx(found_ifx) != k) {
        bad.add("ifindex of port " + std::to_string(k));
    }
}

void write_round(int round)
{
    for (int k = 0; k < kPorts; ++k) {
        const int gen = round * 3 + k % 3;
        switch ((round + k) % 5) {
        case 0:  // remove
        {
            const int32_t dm_phyid = port(k, gen).phyid;
            dmtest::send(DP_LIB_MSG_PORT_RMV, dm_phyid);
            break;
        }
        case 1:  // new interface index
        {
            const dp_lib_port_ifx_msg_t msg = {port(k, gen).phyid, ifx_of(k, gen + 1)};
            dmtest::send(DP_LIB_MSG_PORT_IFX, msg);
            break;
        }
        default:  // add, refresh or re-key
            dmtest::send(DP_LIB_MSG_PORT_INFO, port(k, gen));
            break;
        }
    }
    // Slots change chip-ID allocations: released, then given the other set.
    const int slot = 1 + round % 3;
    send_chipids(slot, round % 2, false);
    send_chipids(slot, (round + 1) % 2, true);
}

TEST(PortConcurrency, LookupsOfEveryFormStayConsistentWhileTheTableChanges)
{
    dmtest::ScratchDir dir;  // no device file: kernel fallbacks fail fast
    dm_host_set_my_card(dm_node_make(1, 1), 1, 10, DM_TYPE_LC);
    dm_host_set_dbg_level(LIB_DBG_END);
    for (int slot = 1; slot <= 3; ++slot) {
        send_chipids(slot, 0, true);
    }
    for (int k = 0; k < kPorts; ++k) {
        dmtest::send(DP_LIB_MSG_PORT_INFO, port(k, 0));
    }

    Findings bad;
    std::atomic<bool> done{false};
    std::atomic<long> reads{0};
    std::vector<std::thread> readers;
    for (int r = 0; r < kReaders; ++r) {
        readers.emplace_back([&, r] {
            unsigned seed = 12345u + static_cast<unsigned>(r);
            while (!done.load()) {
                seed = seed * 1103515245u + 12345u;
                read_once(static_cast<int>((seed >> 8) % kPorts), static_cast<int>((seed >> 20) & 1), bad);
                reads.fetch_add(1);
            }
        });
    }
    const auto start = std::chrono::steady_clock::now();
    int rounds = 0;
    while (rounds < kMaxRounds &&
           (rounds < kMinRounds || std::chrono::steady_clock::now() - start < kWriterTime)) {
        write_round(rounds++);
    }
    done.store(true);
    for (std::thread &t : readers) {
        t.join();
    }
    EXPECT_EQ(bad.count(), 0u) << bad.report();
    EXPECT_GT(reads.load(), 0);
    RecordProperty("writer_rounds", rounds);
    RecordProperty("reads", static_cast<int>(reads.load()));

    // Once quiet, every port answers as last sent.
    for (int k = 0; k < kPorts; ++k) {
        dmtest::send(DP_LIB_MSG_PORT_INFO, port(k, 7));
        dm_port_t got;
        ASSERT_EQ(dm_get_pinfo_by_ifx(ifx_of(k, 7), &got), 0) << k;
        EXPECT_EQ(got.subslotid, 7);
        check_record(got, k, "final", bad);
    }
    EXPECT_EQ(bad.count(), 0u) << bad.report();
}

}  // namespace
