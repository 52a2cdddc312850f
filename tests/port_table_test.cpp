// The port table's indexes as an operator sees them through show command 6:
// which index lists a port after adds, re-sends and taken keys (the scripted
// port scenario covers interface-index changes and removals through the getters).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>

#include "dm_test_env.h"
#include <dm_lib_pd/dm_port_lookup.h>

namespace {

// A port of chip 1 in slot 3 of device 1; its global chip ID is set, so no
// getter needs the chip-ID allocation.
dp_lib_port_t port(int cport, int lport, int ifx, int lsm_key)
{
    dp_lib_port_t p = dmtest::port_record(1, 3, 1, cport, lport);
    p.ifx = ifx;
    p.g_chipid = 41;
    p.lsm_key = lsm_key;
    return p;
}

using dmtest::has;

int field(const std::string &line, const char *name)
{
    return static_cast<int>(
        std::strtoul(line.c_str() + line.find(name) + std::strlen(name), nullptr, 16));
}

// Show command 6: per index heading, the (phyid, ifx) of each listed record.
using Listing = std::map<std::string, std::vector<std::pair<int, int>>>;
Listing show(std::string *raw = nullptr)
{
    const std::string out = dmtest::capture_stdout([] { dm_host_show(DP_LIB_DBG_SHOW_ALL_PORT); });
    Listing l;
    std::string index;
    for (size_t pos = 0, end; pos < out.size(); pos = end + 1) {
        end = std::min(out.find('\n', pos), out.size());
        const std::string line = out.substr(pos, end - pos);
        if (line.rfind("All ports in ", 0) == 0) {
            index = line.substr(13, line.size() - 14);
            l[index];
        } else if (!index.empty() && has(line, "](ifx 0x")) {
            l[index].emplace_back(field(line, ", phyid 0x"), field(line, "(ifx 0x"));
        }
    }
    if (raw != nullptr) {
        *raw = out;
    }
    return l;
}

std::vector<int> listed(const Listing &l, const char *index)
{
    std::vector<int> out;
    for (const auto &r : l.at(index)) {
        out.push_back(r.first);
    }
    return out;
}

TEST(PortTable, AddIndexesOnceAndResentPortsTakeTheirKeysOver)
{
    dp_lib_port_t a = port(10, 5, 0, 11);
    const dp_lib_port_t b = port(11, 6, 200, 22);
    dmtest::send(DP_LIB_MSG_PORT_INFO, a);
    dmtest::send(DP_LIB_MSG_PORT_INFO, a);
    Listing l = show();
    EXPECT_TRUE(l.at("dm_ifx_root").empty());  // ifx 0 is never a key
    for (const char *index :
         {"dm_port_phyid_root", "dm_port_ss_phyid_root", "dm_port_lsm_key_root"}) {
        EXPECT_EQ(listed(l, index), std::vector<int>{a.phyid}) << index;
    }

    // A re-sent with a new slot_lport_phyid and B's interface index and key:
    // A's old entry goes, B keeps its ifx field but is found by neither.
    dmtest::send(DP_LIB_MSG_PORT_INFO, b);
    a.ss_phyid = dm_slot_lport_phyid(1, 3, 7);
    a.ifx = 200;
    a.lsm_key = 22;
    dmtest::send(DP_LIB_MSG_PORT_INFO, a);
    l = show();
    EXPECT_EQ(listed(l, "dm_port_ss_phyid_root"), (std::vector<int>{b.phyid, a.phyid}));
    EXPECT_EQ(listed(l, "dm_ifx_root"), std::vector<int>{a.phyid});
    EXPECT_EQ(listed(l, "dm_port_lsm_key_root"), std::vector<int>{a.phyid});
    EXPECT_EQ(l.at("dm_port_phyid_root")[1], std::make_pair(b.phyid, 200));

    // B takes its key back; A's stale key now leads to B and stays.
    dmtest::send(DP_LIB_MSG_PORT_INFO, b);
    a.lsm_key = 33;
    dmtest::send(DP_LIB_MSG_PORT_INFO, a);
    EXPECT_EQ(listed(show(), "dm_port_lsm_key_root"), (std::vector<int>{b.phyid, a.phyid}));
}

TEST(PortTable, NewPortWithATakenKeyStopsAtThatIndexUntilResent)
{
    const dp_lib_port_t a = port(10, 5, 0x10, 0);
    const dp_lib_port_t b = port(11, 6, 0x11, 0);
    dmtest::send(DP_LIB_MSG_PORT_INFO, a);
    dm_host_set_dbg_level(LIB_DBG_ERROR);
    std::string out = dmtest::capture_stdout([&] { dmtest::send(DP_LIB_MSG_PORT_INFO, b); });
    EXPECT_TRUE(has(out, ">:fail to insert dm_port_lsm_key_root(0x0)\n")) << out;
    Listing l = show();
    EXPECT_EQ(listed(l, "dm_port_ss_phyid_root"), (std::vector<int>{a.phyid, b.phyid}));
    EXPECT_EQ(listed(l, "dm_port_lsm_key_root"), std::vector<int>{a.phyid});
    EXPECT_EQ(listed(l, "dm_ifx_root"), std::vector<int>{a.phyid});  // never reached

    dmtest::send(DP_LIB_MSG_PORT_INFO, b);  // now known: takes the key over
    l = show();
    EXPECT_EQ(listed(l, "dm_port_lsm_key_root"), std::vector<int>{b.phyid});
    EXPECT_EQ(listed(l, "dm_ifx_root"), (std::vector<int>{a.phyid, b.phyid}));

    out =
        dmtest::capture_stdout([&] { dmtest::send(DP_LIB_MSG_PORT_INFO, port(12, 6, 0x12, 33)); });
    EXPECT_TRUE(has(out, ">:fail to insert dm_port_ss_phyid_root(0x6010306)\n")) << out;
    l = show();
    EXPECT_EQ(l.at("dm_port_phyid_root").size(), 3u);
    EXPECT_EQ(l.at("dm_port_ss_phyid_root").size(), 2u);
}

TEST(PortTable, ShowListsEachIndexInKeyOrder)
{
    std::string raw;
    show(&raw);
    EXPECT_EQ(
        raw.rfind("\nAll ports in dm_ifx_root:\n\nAll ports in dm_port_phyid_root:\n"
                  "\nAll ports in dm_port_ss_phyid_root:\n\nAll ports in dm_port_lsm_key_root:\n"
                  "all local port",
                  0),
        0u)
        << raw;

    dp_lib_port_t a = port(10, 5, 0x200, -5);
    a.node = a.subcard_node = 0x01043000;
    a.subslotid = 1;
    a.port_switch = a.poe_support = 1;
    a.medium_type = PORT_MEDIUM_FIBER_COPPER;
    a.type = PORT_HUGIGABIT_ETHERNET;
    a.lsm_user_slot = 4;
    a.lsm_user_port = 9;
    dp_lib_port_t b = port(1, 1, 0x100, 7);
    b.phyid = dm_phyid_make(1, 2, 0, 1);
    dmtest::send(DP_LIB_MSG_PORT_INFO, a);
    dmtest::send(DP_LIB_MSG_PORT_INFO, b);

    const Listing l = show(&raw);
    EXPECT_TRUE(has(raw,
                    "[1/3/5](ifx 0x200, phyid 0x100320a, ss_phyid 0x6010305, node 0x1043000, "
                    "sslot 1, unit 1, chipid 41, cport 10, port_switch true, medium_type 2, "
                    "port_type: 4, poe:1 lsm_key 0xfffffffb, lsm_user_slot 4, lsm_user_lport 9, "
                    "subcard_node 0x1043000.\n"))
        << raw;
    EXPECT_TRUE(has(raw, "port_switch false,")) << raw;
    EXPECT_EQ(listed(l, "dm_ifx_root"), (std::vector<int>{b.phyid, a.phyid}));
    EXPECT_EQ(listed(l, "dm_port_phyid_root"), (std::vector<int>{b.phyid, a.phyid}));
    EXPECT_EQ(listed(l, "dm_port_lsm_key_root"), (std::vector<int>{a.phyid, b.phyid}));
}

// Two thousand ports on eight cards: every view grows several times, the
// dm_phyid keys' bit fields bunch them in their view, and removing every
// third port shifts entries back. Each port left is found under each of its
// keys, with its own record, and no removed port is.
TEST(PortTable, EveryViewFindsItsPortsThroughGrowthAndRemovals)
{
    std::vector<dp_lib_port_t> ports;
    for (int i = 0; i < 2048; ++i) {
        dp_lib_port_t p = dmtest::port_record(1, i / 256, i % 256 / 64, i % 64 + 1, i % 256);
        p.ifx = 0x1000 + 7 * i;
        p.lsm_key = 3 * i + 1;
        p.g_chipid = 41;
        ports.push_back(p);
        ASSERT_TRUE(dmtest::send(DP_LIB_MSG_PORT_INFO, p));
    }
    for (size_t i = 0; i < ports.size(); i += 3) {
        ASSERT_TRUE(dmtest::send(DP_LIB_MSG_PORT_RMV, ports[i].phyid));
    }
    for (size_t i = 0; i < ports.size(); ++i) {
        const dp_lib_port_t &p = ports[i];
        const int unit_port = dm_unit_port_phyid(p.devid, p.slotid, p.l_chipid, p.chip_portid);
        for (const int id : {p.ss_phyid, unit_port}) {
            dm_port_t out{};
            const int rc = dm_get_pinfo_by_phyid(id, &out);
            EXPECT_EQ(rc == 0 && out.ifx == p.ifx, i % 3 != 0) << i << " " << std::hex << id;
        }
        dm_port_t out{};
        const int rc = dm_get_pinfo_by_ifx(p.ifx, &out);
        EXPECT_EQ(rc == 0 && out.phyid == p.ss_phyid, i % 3 != 0) << i;
    }
}

}  // namespace
