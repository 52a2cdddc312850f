// Port lookups of every form running beside writers that add, refresh,
// re-key and remove ports and change the chip-ID allocation: every answer
// must be one version of one port, whole, carrying the key it was found by,
// and a port that exists throughout is found by every form every time.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "dm_test_env.h"
#include <dm_lib_pd/dm_ids.h>
#include <dm_lib_pd/dm_port_lookup.h>

namespace {

constexpr int kPorts = 48;  // churned: removed, re-indexed, re-keyed
constexpr int kStable = 8;  // ports kPorts.. on slot 4: refreshed, never re-keyed
constexpr int kReaders = 3;
// The writer runs at least kMinRounds and then stops after about a second:
// the test's length is bounded, its verdict never depends on time.
constexpr int kMinRounds = 50;
constexpr auto kWriterTime = std::chrono::seconds(1);

// Port k: slot 1 + k / 16 of device 1, unit (k / 8) % 2, chip port k % 8 + 1.
// Re-keyed between two local port numbers; its interface indexes and keys
// name k; its generation is stamped in two fields, so a torn copy shows.
int slot_of(int k) { return 1 + k / 16; }
int unit_of(int k) { return (k / 8) % 2; }
int cport_of(int k) { return k % 8 + 1; }
int lport_of(int k, int alt) { return k % 16 + 1 + 32 * alt; }
int ifx_of(int k, int gen) { return 0x10000 | (k << 8) | (gen & 0xFF); }
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
    p.lsm_key = k * 4 + gen % 4;
    return p;
}

// A stable port: a new version with the same keys.
dp_lib_port_t stable(int k, int gen)
{
    dp_lib_port_t p = port(k, gen * 2);
    p.ifx = ifx_of(k, 0);
    p.lsm_key = k * 4;
    return p;
}

// Gives a slot one of two chip-ID sets (or takes its IDs back).
void send_chipids(int slot, int set, bool valid)
{
    struct {
        addr_lib_sync_head_t head;
        chipid_slot_t slot;
    } m = {};
    m.head = {static_cast<int32_t>(sizeof m), ADDR_LIB_BS_SYNC, 1};
    m.slot = {static_cast<int32_t>(valid ? CHIPID_VALID : CHIPID_NONE),
              slot,
              0,
              1,
              2,
              {static_cast<uint16_t>(chipid_of(slot, 0, set)),
               static_cast<uint16_t>(chipid_of(slot, 1, set))}};
    dm_host_addr_data(&m, static_cast<int>(sizeof m));
}

// Whether a reduced record is one version of port k, whole.
bool whole(const dm_port_t &got, int k)
{
    const int gen = got.subslotid;
    return got.devid == 1 && got.slotid == slot_of(k) && got.node == dm_node_make(1, slot_of(k)) &&
           got.l_chipid == unit_of(k) && got.chip_portid == cport_of(k) &&
           got.g_chipid == 1000 + gen && got.portid == lport_of(k, gen % 2) &&
           got.phyid == dm_slot_lport_phyid(1, slot_of(k), got.portid) &&
           (got.ifx & ~0xFF) == (ifx_of(k, 0) & ~0xFF);
}

// One lookup of every form for port k; the number of wrong answers (a miss
// is one for a port that must be found).
int read_once(int k, int alt, bool must_find)
{
    int bad = 0;
    auto hit = [&](int rc) {
        bad += must_find && rc != 0;
        return rc == 0;
    };
    dm_port_t got;
    const int ss = dm_slot_lport_phyid(1, slot_of(k), lport_of(k, alt));
    if (hit(dm_get_pinfo_by_phyid(ss, &got))) {
        bad += !whole(got, k) || got.phyid != ss;
    }
    const int unit_port = dm_unit_port_phyid(1, slot_of(k), unit_of(k), cport_of(k));
    if (hit(dm_get_pinfo_by_phyid(unit_port, &got))) {
        bad += !whole(got, k);
    }
    if (hit(dm_get_pinfo_by_phyid(
            dm_mod_port_phyid(chipid_of(slot_of(k), unit_of(k), alt), cport_of(k)), &got))) {
        bad += !whole(got, k);
    }
    const int ifx = must_find ? ifx_of(k, 0) : ifx_of(k, alt + 2 * (k % 3));
    if (hit(dm_get_pinfo_by_ifx(ifx, &got))) {
        bad += !whole(got, k) || got.ifx != ifx;
    }
    int a = 0, b = 0;
    if (hit(dm_get_chipid_port_from_phyid(unit_port, &a, &b))) {
        bad += b != cport_of(k) || (a != chipid_of(slot_of(k), unit_of(k), 0) &&
                                    a != chipid_of(slot_of(k), unit_of(k), 1));
    }
    if (hit(dm_get_phyid_from_ifx(ifx, &a))) {
        bad += dm_mod_port_port(a) != cport_of(k);
    }
    if (hit(dm_get_ifindex_from_phyid(unit_port, &a))) {
        bad += (a & ~0xFF) != (ifx_of(k, 0) & ~0xFF);
    }
    return bad;
}

// Removes, re-indexes or re-sends (refreshed or re-keyed) every port, then
// moves one slot to its other chip-ID set.
void write_round(int round)
{
    for (int k = 0; k < kPorts; ++k) {
        const dp_lib_port_t p = port(k, round * 3 + k % 3);
        const int turn = (round + k) % 5;
        if (turn == 0) {
            dmtest::send(DP_LIB_MSG_PORT_RMV, p.phyid);
        } else if (turn == 1) {
            dmtest::send(DP_LIB_MSG_PORT_IFX, dp_lib_port_ifx_msg_t{p.phyid, ifx_of(k, round + 1)});
        } else {
            dmtest::send(DP_LIB_MSG_PORT_INFO, p);
        }
    }
    for (int k = kPorts; k < kPorts + kStable; ++k) {
        dmtest::send(DP_LIB_MSG_PORT_INFO, stable(k, round % 2));
    }
    const int slot = 1 + round % 3;
    send_chipids(slot, round % 2, false);
    send_chipids(slot, (round + 1) % 2, true);
}

TEST(PortConcurrency, LookupsOfEveryFormStayConsistentWhileTheTableChanges)
{
    dmtest::ScratchDir dir;  // no device file: kernel fallbacks fail fast
    dm_host_set_dbg_level(LIB_DBG_END);
    for (int slot = 1; slot <= 4; ++slot) {
        send_chipids(slot, 0, true);
    }
    for (int k = 0; k < kPorts; ++k) {
        dmtest::send(DP_LIB_MSG_PORT_INFO, port(k, 0));
    }
    for (int k = kPorts; k < kPorts + kStable; ++k) {
        dmtest::send(DP_LIB_MSG_PORT_INFO, stable(k, 0));
    }

    std::atomic<bool> done{false};
    std::atomic<long> reads{0}, bad{0};
    std::vector<std::thread> readers;
    for (int r = 0; r < kReaders; ++r) {
        readers.emplace_back([&, r] {
            unsigned seed = 12345u + static_cast<unsigned>(r);
            while (!done.load()) {
                seed = seed * 1103515245u + 12345u;
                const int k = static_cast<int>((seed >> 8) % (kPorts + kStable));
                const bool must_find = k >= kPorts;
                bad += read_once(k, must_find ? 0 : static_cast<int>((seed >> 20) & 1), must_find);
                ++reads;
            }
        });
    }
    const auto start = std::chrono::steady_clock::now();
    for (int round = 0;
         round < kMinRounds || std::chrono::steady_clock::now() - start < kWriterTime; ++round) {
        write_round(round);
    }
    done = true;
    for (std::thread &t : readers) {
        t.join();
    }
    EXPECT_EQ(bad.load(), 0) << "of " << reads.load() << " reads";

    // Once quiet, every port answers as last sent.
    for (int k = 0; k < kPorts; ++k) {
        dmtest::send(DP_LIB_MSG_PORT_INFO, port(k, 7));
        dm_port_t got;
        ASSERT_EQ(dm_get_pinfo_by_ifx(ifx_of(k, 7), &got), 0) << k;
        EXPECT_TRUE(whole(got, k) && got.subslotid == 7) << k;
    }
}

}  // namespace
