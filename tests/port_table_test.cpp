// The port table as the data-plane master and an operator see it: port
// records, interface-index changes and removals sent as data messages 0, 1
// and 2, observed through show command 6 and the port getters.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "dm_test_env.h"
#include <dm_lib_pd/dm_ids.h>
#include <dm_lib_pd/dm_port_lookup.h>

namespace {

// A port of device 1 with every key derived from its slot, unit and chip
// port; the global chip ID is set so that no getter needs the chip-ID table.
dp_lib_port_t port(int slot, int unit, int cport, int lport, int ifx, int lsm_key)
{
    dp_lib_port_t p = {};
    p.ifx = ifx;
    p.phyid = dm_phyid_make(1, slot, unit, cport);
    p.ss_phyid = dm_slot_lport_phyid(1, slot, lport);
    p.node = dm_node_make(1, slot);
    p.devid = 1;
    p.slotid = slot;
    p.portid = lport;
    p.l_chipid = unit;
    p.g_chipid = 40 + unit;
    p.chip_portid = cport;
    p.type = PORT_GIGABIT_ETHERNET;
    p.lsm_key = lsm_key;
    return p;
}

void set_ifx(int dm_phyid, int ifx)
{
    const dp_lib_port_ifx_msg_t msg = {dm_phyid, ifx};
    dmtest::send(DP_LIB_MSG_PORT_IFX, msg);
}

void remove_port(int dm_phyid)
{
    const int32_t msg = dm_phyid;
    dmtest::send(DP_LIB_MSG_PORT_RMV, msg);
}

int hex_field(const std::string &line, const std::string &name)
{
    const size_t at = line.find(name + " 0x");
    return at == std::string::npos ? -1
                                   : static_cast<int>(std::strtoul(line.c_str() + at + name.size() + 3,
                                                                   nullptr, 16));
}

// One index as show command 6 lists it: each record's ifx, phyid, ss_phyid
// and lsm_key, in listing order.
struct Listed {
    int ifx, phyid, ss_phyid, lsm_key;
};
using Listing = std::map<std::string, std::vector<Listed>>;

Listing show_ports(std::string *raw = nullptr)
{
    const std::string out = dmtest::capture_stdout([] { dm_host_show(DP_LIB_DBG_SHOW_ALL_PORT); });
    if (raw != nullptr) {
        *raw = out;
    }
    Listing listing;
    std::string index;
    size_t pos = 0;
    while (pos < out.size()) {
        size_t end = out.find('\n', pos);
        end = end == std::string::npos ? out.size() : end;
        const std::string line = out.substr(pos, end - pos);
        pos = end + 1;
        const std::string heading = "All ports in ";
        if (line.compare(0, heading.size(), heading) == 0) {
            index = line.substr(heading.size(), line.size() - heading.size() - 1);
            listing[index];
        } else if (!index.empty() && line.find("](ifx 0x") != std::string::npos) {
            listing[index].push_back({hex_field(line, "(ifx"), hex_field(line, ", phyid"),
                                      hex_field(line, "ss_phyid"), hex_field(line, "lsm_key")});
        }
    }
    return listing;
}

std::vector<int> phyids(const Listing &l, const std::string &index)
{
    std::vector<int> out;
    for (const Listed &r : l.at(index)) {
        out.push_back(r.phyid);
    }
    return out;
}

bool contains(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}

// The port's local port number as found by its slot_lport_phyid, or -1.
int lport_of(int ss_phyid)
{
    int node = 0;
    int lport = -1;
    return dm_get_node_lport_from_phyid(ss_phyid, &node, &lport) == 0 ? lport : -1;
}

TEST(PortTable, AddIndexesTheRecordUnderEveryKeyItHolds)
{
    dp_lib_port_t a = port(3, 1, 10, 5, 0, 11);
    dmtest::send(DP_LIB_MSG_PORT_INFO, a);

    Listing l = show_ports();
    EXPECT_TRUE(l.at("dm_ifx_root").empty());  // ifx 0 is never a key
    EXPECT_EQ(phyids(l, "dm_port_phyid_root"), std::vector<int>{a.phyid});
    EXPECT_EQ(phyids(l, "dm_port_ss_phyid_root"), std::vector<int>{a.phyid});
    EXPECT_EQ(phyids(l, "dm_port_lsm_key_root"), std::vector<int>{a.phyid});
    EXPECT_EQ(lport_of(a.ss_phyid), 5);
    EXPECT_EQ(lport_of(dm_unit_port_phyid(1, 3, 1, 10)), 5);

    // The same record twice more, then with an interface index: still one
    // record, now also found by its interface index.
    dmtest::send(DP_LIB_MSG_PORT_INFO, a);
    dmtest::send(DP_LIB_MSG_PORT_INFO, a);
    a.ifx = 0x100;
    dmtest::send(DP_LIB_MSG_PORT_INFO, a);
    l = show_ports();
    for (const char *index : {"dm_ifx_root", "dm_port_phyid_root", "dm_port_ss_phyid_root",
                              "dm_port_lsm_key_root"}) {
        EXPECT_EQ(phyids(l, index), std::vector<int>{a.phyid}) << index;
    }
    dm_port_t got;
    ASSERT_EQ(dm_get_pinfo_by_ifx(0x100, &got), 0);
    EXPECT_EQ(got.phyid, a.ss_phyid);

    dm_host_set_dbg_level(LIB_DBG_VERBOSE);
    const std::string out = dmtest::capture_stdout([&] { dmtest::send(DP_LIB_MSG_PORT_INFO, a); });
    EXPECT_TRUE(contains(out, ">:dp_lib_add_port phyid = 0x100320a!\n")) << out;
    EXPECT_TRUE(contains(out, ">:get add port success!\n")) << out;
}

TEST(PortTable, ResentPortTakesItsKeysOver)
{
    dp_lib_port_t a = port(3, 1, 10, 5, 100, 11);
    const dp_lib_port_t b = port(3, 1, 11, 6, 200, 22);
    dmtest::send(DP_LIB_MSG_PORT_INFO, a);
    dmtest::send(DP_LIB_MSG_PORT_INFO, b);

    // A new slot_lport_phyid replaces the old one.
    const int old_ss = a.ss_phyid;
    a.ss_phyid = dm_slot_lport_phyid(1, 3, 7);
    a.portid = 7;
    dmtest::send(DP_LIB_MSG_PORT_INFO, a);
    EXPECT_EQ(lport_of(old_ss), -1);
    EXPECT_EQ(lport_of(a.ss_phyid), 7);

    // B's interface index moves to A; B keeps the number in its record but
    // is no longer found by it, and A's old index is gone.
    a.ifx = 200;
    dmtest::send(DP_LIB_MSG_PORT_INFO, a);
    Listing l = show_ports();
    ASSERT_EQ(l.at("dm_ifx_root").size(), 1u);
    EXPECT_EQ(l.at("dm_ifx_root")[0].phyid, a.phyid);
    ASSERT_EQ(l.at("dm_port_phyid_root").size(), 2u);
    EXPECT_EQ(l.at("dm_port_phyid_root")[1].phyid, b.phyid);
    EXPECT_EQ(l.at("dm_port_phyid_root")[1].ifx, 200);
    dm_port_t got;
    EXPECT_EQ(dm_get_pinfo_by_ifx(100, &got), -1);

    // The same for the interface manager's key.
    a.lsm_key = 22;
    dmtest::send(DP_LIB_MSG_PORT_INFO, a);
    l = show_ports();
    ASSERT_EQ(l.at("dm_port_lsm_key_root").size(), 1u);
    EXPECT_EQ(l.at("dm_port_lsm_key_root")[0].phyid, a.phyid);
    EXPECT_EQ(l.at("dm_port_lsm_key_root")[0].lsm_key, 22);
}

TEST(PortTable, NewPortWithATakenKeyStopsAtThatIndexUntilResent)
{
    const dp_lib_port_t a = port(3, 1, 10, 5, 0x10, 0);
    dp_lib_port_t b = port(3, 1, 11, 6, 0x11, 0);
    dmtest::send(DP_LIB_MSG_PORT_INFO, a);
    dm_host_set_dbg_level(LIB_DBG_ERROR);
    std::string out = dmtest::capture_stdout([&] { dmtest::send(DP_LIB_MSG_PORT_INFO, b); });
    EXPECT_TRUE(contains(out, ">:fail to insert dm_port_lsm_key_root(0x0)\n")) << out;

    Listing l = show_ports();
    EXPECT_EQ(phyids(l, "dm_port_phyid_root"), (std::vector<int>{a.phyid, b.phyid}));
    EXPECT_EQ(phyids(l, "dm_port_ss_phyid_root"), (std::vector<int>{a.phyid, b.phyid}));
    EXPECT_EQ(phyids(l, "dm_port_lsm_key_root"), std::vector<int>{a.phyid});
    EXPECT_EQ(phyids(l, "dm_ifx_root"), std::vector<int>{a.phyid});  // never reached

    // Sent again, B is a known port and takes the key over from A.
    dmtest::send(DP_LIB_MSG_PORT_INFO, b);
    l = show_ports();
    EXPECT_EQ(phyids(l, "dm_port_lsm_key_root"), std::vector<int>{b.phyid});
    EXPECT_EQ(phyids(l, "dm_ifx_root"), (std::vector<int>{a.phyid, b.phyid}));

    // A brand-new port on a taken slot_lport_phyid is found by its dm_phyid only.
    dp_lib_port_t c = port(3, 1, 12, 6, 0x12, 33);
    out = dmtest::capture_stdout([&] { dmtest::send(DP_LIB_MSG_PORT_INFO, c); });
    EXPECT_TRUE(contains(out, ">:fail to insert dm_port_ss_phyid_root(0x6010306)\n")) << out;
    l = show_ports();
    EXPECT_EQ(l.at("dm_port_phyid_root").size(), 3u);
    EXPECT_EQ(l.at("dm_port_ss_phyid_root").size(), 2u);
    EXPECT_EQ(l.at("dm_port_lsm_key_root").size(), 1u);
    EXPECT_EQ(l.at("dm_ifx_root").size(), 2u);
}

TEST(PortTable, InterfaceIndexChanges)
{
    const dp_lib_port_t a = port(3, 1, 10, 5, 100, 11);
    const dp_lib_port_t b = port(3, 1, 11, 6, 200, 22);
    dmtest::send(DP_LIB_MSG_PORT_INFO, a);
    dmtest::send(DP_LIB_MSG_PORT_INFO, b);

    // To the index B holds: B loses its interface index, A is found by it.
    dm_host_set_dbg_level(LIB_DBG_DETAIL);
    std::string out = dmtest::capture_stdout([&] { set_ifx(a.phyid, 200); });
    EXPECT_TRUE(contains(out, ">:phyid = 0x100320a , ifx = 0xc8!\n")) << out;
    EXPECT_TRUE(contains(out, ">:port ifx = 100, msg ifx = 200!\n")) << out;
    EXPECT_TRUE(contains(out, ">:port_info->phyid:0x100320b, phyid:0x100320a\n")) << out;
    EXPECT_TRUE(contains(out, ">:set ifx success!\n")) << out;
    dm_port_t got;
    ASSERT_EQ(dm_get_pinfo_by_ifx(200, &got), 0);
    EXPECT_EQ(got.phyid, a.ss_phyid);
    EXPECT_EQ(dm_get_pinfo_by_ifx(100, &got), -1);
    Listing l = show_ports();
    EXPECT_EQ(l.at("dm_port_phyid_root")[1].ifx, 0);

    // To a fresh index: nobody held it.
    out = dmtest::capture_stdout([&] { set_ifx(a.phyid, 300); });
    EXPECT_TRUE(contains(out, ">:ifx 0x12c node not found\n")) << out;
    ASSERT_EQ(dm_get_pinfo_by_ifx(300, &got), 0);
    EXPECT_EQ(got.ifx, 300);

    // To 0: out of the index, ifx 0 in the record.
    set_ifx(a.phyid, 0);
    l = show_ports();
    EXPECT_TRUE(l.at("dm_ifx_root").empty());
    EXPECT_EQ(l.at("dm_port_phyid_root")[0].ifx, 0);

    // Only a dm_phyid names the port here.
    dm_host_set_dbg_level(LIB_DBG_WARN);
    out = dmtest::capture_stdout([&] { set_ifx(a.ss_phyid, 400); });
    EXPECT_TRUE(contains(out, ">:can not find node! phyid : 0x6010305\n")) << out;
    EXPECT_EQ(dm_get_pinfo_by_ifx(400, &got), -1);
}

TEST(PortTable, RemovalClearsEveryIndex)
{
    const dp_lib_port_t a = port(3, 1, 10, 5, 100, 11);
    const dp_lib_port_t b = port(3, 1, 11, 6, 200, 22);
    dmtest::send(DP_LIB_MSG_PORT_INFO, a);
    dmtest::send(DP_LIB_MSG_PORT_INFO, b);

    remove_port(a.ss_phyid);  // not a dm_phyid: nothing happens
    EXPECT_EQ(show_ports().at("dm_port_phyid_root").size(), 2u);

    dm_host_set_dbg_level(LIB_DBG_VERBOSE);
    std::string out = dmtest::capture_stdout([&] { remove_port(a.phyid); });
    EXPECT_TRUE(contains(out, ">:dp_lib_rmv_port phyid = 100320a!\n")) << out;
    EXPECT_TRUE(contains(out, ">:get remove port success!\n")) << out;
    const Listing l = show_ports();
    for (const char *index : {"dm_ifx_root", "dm_port_phyid_root", "dm_port_ss_phyid_root",
                              "dm_port_lsm_key_root"}) {
        EXPECT_EQ(phyids(l, index), std::vector<int>{b.phyid}) << index;
    }
    EXPECT_EQ(lport_of(a.ss_phyid), -1);

    // An unknown port: a silent success.
    out = dmtest::capture_stdout([&] { remove_port(a.phyid); });
    EXPECT_FALSE(contains(out, "can not find")) << out;
    EXPECT_TRUE(contains(out, ">:get remove port success!\n")) << out;

    // The port can come back.
    dmtest::send(DP_LIB_MSG_PORT_INFO, a);
    EXPECT_EQ(lport_of(a.ss_phyid), 5);
}

TEST(PortTable, ShortMessagesAreRefusedBeforeTheHandlerRuns)
{
    const dp_lib_port_t a = port(3, 1, 10, 5, 100, 11);
    dm_host_set_dbg_level(LIB_DBG_WARN);
    const std::string out = dmtest::capture_stdout([&] {
        dm_host_send_msg(DP_LIB_MSG_PORT_INFO, &a, 123);
        dm_host_send_msg(DP_LIB_MSG_PORT_RMV, &a.phyid, 0);
    });
    EXPECT_TRUE(contains(out, ">:msg 0 is too short: len 123, need 124!\n")) << out;
    EXPECT_TRUE(contains(out, ">:msg 2 is too short: len 0, need 4!\n")) << out;
    EXPECT_TRUE(show_ports().at("dm_port_phyid_root").empty());

    dmtest::send(DP_LIB_MSG_PORT_INFO, a);
    const dp_lib_port_ifx_msg_t msg = {a.phyid, 300};
    dm_host_send_msg(DP_LIB_MSG_PORT_IFX, &msg, 7);
    dm_host_send_msg(DP_LIB_MSG_PORT_RMV, &a.phyid, 3);
    const Listing l = show_ports();
    ASSERT_EQ(l.at("dm_port_phyid_root").size(), 1u);
    EXPECT_EQ(l.at("dm_port_phyid_root")[0].ifx, 100);
}

TEST(PortTable, ShowListsEachIndexInKeyOrder)
{
    const std::string headings =
        "\nAll ports in dm_ifx_root:\n\nAll ports in dm_port_phyid_root:\n"
        "\nAll ports in dm_port_ss_phyid_root:\n\nAll ports in dm_port_lsm_key_root:\n";
    std::string raw;
    show_ports(&raw);
    EXPECT_EQ(raw.compare(0, headings.size(), headings), 0) << raw;
    EXPECT_GT(raw.size(), headings.size());  // the local port table follows

    dp_lib_port_t a = port(3, 1, 10, 5, 0x200, -5);
    a.node = 0x01043000;
    a.subslotid = 1;
    a.port_switch = 1;
    a.medium_type = PORT_MEDIUM_FIBER_COPPER;
    a.type = PORT_HUGIGABIT_ETHERNET;
    a.poe_support = 1;
    a.lsm_user_slot = 4;
    a.lsm_user_port = 9;
    a.subcard_node = 0x01043000;
    const dp_lib_port_t b = port(2, 0, 1, 1, 0x100, 7);
    dmtest::send(DP_LIB_MSG_PORT_INFO, a);
    dmtest::send(DP_LIB_MSG_PORT_INFO, b);

    dm_host_set_dbg_level(LIB_DBG_DETAIL);
    const Listing l = show_ports(&raw);
    EXPECT_TRUE(contains(raw, ">:show all port info.\r\n")) << raw;
    EXPECT_TRUE(contains(raw, "[1/3/5](ifx 0x200, phyid 0x100320a, ss_phyid 0x6010305, "
                              "node 0x1043000, sslot 1, unit 1, chipid 41, cport 10, "
                              "port_switch true, medium_type 2, port_type: 4, poe:1 "
                              "lsm_key 0xfffffffb, lsm_user_slot 4, lsm_user_lport 9, "
                              "subcard_node 0x1043000.\n"))
        << raw;
    EXPECT_TRUE(contains(raw, "[1/2/1](ifx 0x100, phyid 0x1002001, ss_phyid 0x6010201, "
                              "node 0x1002000, sslot 0, unit 0, chipid 40, cport 1, "
                              "port_switch false, medium_type 0, port_type: 1, poe:0 "
                              "lsm_key 0x7, lsm_user_slot 0, lsm_user_lport 0, "
                              "subcard_node 0x0.\n"))
        << raw;
    EXPECT_EQ(phyids(l, "dm_ifx_root"), (std::vector<int>{b.phyid, a.phyid}));
    EXPECT_EQ(phyids(l, "dm_port_phyid_root"), (std::vector<int>{b.phyid, a.phyid}));
    EXPECT_EQ(phyids(l, "dm_port_ss_phyid_root"), (std::vector<int>{b.phyid, a.phyid}));
    EXPECT_EQ(phyids(l, "dm_port_lsm_key_root"), (std::vector<int>{a.phyid, b.phyid}));
}

}  // namespace
