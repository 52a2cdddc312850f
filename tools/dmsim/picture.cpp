// The chassis picture.
#include "picture.h"

#include <algorithm>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <set>
#include <tuple>

#include <dm_lib_pd/dm_ids.h>

#include "args.h"
#include "result.h"

namespace dmsim {

namespace {

constexpr int kCellsPerRow = 8;
constexpr int kCellWidth = 12;    // inner width of a port cell
constexpr int kPanelsUpTo = 512;  // ports drawn by default

std::string fmt(const char *f, ...) __attribute__((format(printf, 1, 2)));
std::string fmt(const char *f, ...)
{
    char buf[256];
    va_list ap;
    va_start(ap, f);
    std::vsnprintf(buf, sizeof buf, f, ap);
    va_end(ap);
    return buf;
}

std::string upper(std::string s)
{
    for (char &c : s) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return s;
}

std::string slot_line(const Model &m, const ChassisSlot &s)
{
    const Card *c = card_at(m, s);
    int type = c != nullptr ? c->phy_type : -1;
    size_t nports = 0;
    if (s.sslot == 0) {
        nports = m.ports_of(s.dev, s.slot).size();
    }
    std::string where =
        s.sslot != 0 ? fmt("slot %2d/%d", s.slot, s.sslot) : fmt("slot %2d  ", s.slot);
    std::string card = c != nullptr ? fmt("%-12s type %-5d %-6s", card_name(m, type).c_str(), type,
                                          node_type_name(c->node_type))
                                    : fmt("%-12s %-10s %-6s", "(no card)", "", "");
    std::vector<int> ids = chip_ids(m, s);
    std::string line = fmt("  %s %s %4zu ports  chip IDs %s", where.c_str(), card.c_str(), nports,
                           ids.empty() ? "-" : format_list(ids, Fmt::Dec).c_str());
    if (is_me(m, s)) {
        line += "   <- this card";
    }
    return line + "\n";
}

std::string mgmt_line(const Model &m, int dev)
{
    if (dev < 1 || dev > 2 || (m.mgmt_ifx[dev][0] == 0 && m.mgmt_ifx[dev][1] == 0)) {
        return "";
    }
    std::string line = "  management ports:";
    for (int l = 0; l < 2; ++l) {
        unsigned ifx = m.mgmt_ifx[dev][l];
        line += ifx != 0 ? fmt(" lport %d ifx %s", l, hex32(ifx).c_str()) : fmt(" lport %d -", l);
    }
    return line + "\n";
}

std::string cell_line(const std::vector<std::string> &cells)
{
    std::string line = "    |";
    for (const std::string &c : cells) {
        line += fmt(" %-*s|", kCellWidth - 1, c.c_str());
    }
    return line + "\n";
}

std::string border(size_t cells)
{
    std::string line = "    +";
    for (size_t i = 0; i < cells; ++i) {
        line += std::string(kCellWidth, '-') + "+";
    }
    return line + "\n";
}

std::string panel(const Model &m, const ChassisSlot &s)
{
    std::string out;
    const Card *c = card_at(m, s);
    std::string head = fmt("Device %d slot %d", s.dev, s.slot);
    if (c != nullptr) {
        head += fmt(": %s (card type %d)", card_name(m, c->phy_type).c_str(), c->phy_type);
    }
    if (is_me(m, s)) {
        head += ", this card";
    }
    int gslot = dm_get_gslot_from_lslot(s.dev, s.slot, s.sslot);
    auto alloc = m.chipids.find(gslot);
    if (alloc != m.chipids.end()) {
        std::string units;
        int per = alloc->second.idnum_per_unit;
        for (int u = 0; per > 0 && u * per < alloc->second.id_num && u * per < CHIPID_SLOT_ID_MAX;
             ++u) {
            units +=
                fmt("%sunit %d = chip %d", units.empty() ? "" : ", ", u, m.first_chipid(gslot, u));
        }
        head += "; " + units;
    }
    out += "\n" + head + "\n";
    std::vector<const dp_lib_port_t *> ports = m.ports_of(s.dev, s.slot);
    if (ports.empty()) {
        return out + "    (no ports described)\n";
    }
    for (size_t i = 0; i < ports.size(); i += kCellsPerRow) {
        size_t n = std::min(ports.size() - i, static_cast<size_t>(kCellsPerRow));
        std::vector<std::string> top;
        std::vector<std::string> mid;
        std::vector<std::string> low;
        for (size_t k = 0; k < n; ++k) {
            const dp_lib_port_t &p = *ports[i + k];
            std::string marks = std::string(p.is_parent ? "S" : "") + (p.poe_support ? "E" : "");
            top.push_back(fmt("%3d %s%s%s", p.portid, upper(port_type_name(p.type)).c_str(),
                              marks.empty() ? "" : " ", marks.c_str()));
            mid.push_back(p.ifx != 0 ? hex32(static_cast<unsigned>(p.ifx)) : "ifx -");
            low.push_back(fmt("u%d/p%d", p.l_chipid, p.chip_portid));
        }
        out += border(n) + cell_line(top) + cell_line(mid) + cell_line(low);
        if (i + n >= ports.size()) {
            out += border(n);
        }
    }
    return out;
}

}  // namespace

// Every slot that something was described for: a card, a port or chip IDs.
std::set<ChassisSlot> described_slots(const Model &m)
{
    std::set<ChassisSlot> slots;
    for (const auto &kv : m.cards) {
        slots.insert({dm_node_devid(kv.first), dm_node_lslot(kv.first), dm_node_sslot(kv.first)});
    }
    for (const auto &kv : m.ports) {
        slots.insert({kv.second.devid, kv.second.slotid, 0});
    }
    for (const auto &kv : m.chipids) {
        slots.insert({dm_get_devid_from_gslot(kv.first), dm_get_lslot_from_gslot(kv.first),
                      dm_get_sslot_from_gslot(kv.first)});
    }
    return slots;
}

const Card *card_at(const Model &m, const ChassisSlot &s)
{
    int node = node_of(s.dev, s.slot, s.sslot);
    auto it = m.cards.find(node);
    return it == m.cards.end() ? nullptr : &it->second;
}

bool is_me(const Model &m, const ChassisSlot &s)
{
    return m.me.known && dm_node_devid(m.me.node) == s.dev && dm_node_lslot(m.me.node) == s.slot &&
           dm_node_sslot(m.me.node) == s.sslot;
}

std::string card_name(const Model &m, int type)
{
    auto it = m.card_types.find(type);
    if (it == m.card_types.end()) {
        return "?";
    }
    const char *n = it->second.name;
    return std::string(n, strnlen(n, sizeof it->second.name));
}

std::vector<int> chip_ids(const Model &m, const ChassisSlot &s)
{
    std::vector<int> ids;
    auto it = m.chipids.find(dm_get_gslot_from_lslot(s.dev, s.slot, s.sslot));
    for (int i = 0; it != m.chipids.end() && i < it->second.id_num && i < CHIPID_SLOT_ID_MAX; ++i) {
        ids.push_back(it->second.id[i]);
    }
    return ids;
}

std::string draw_chassis(const Model &m, const PictureOptions &opt)
{
    std::set<ChassisSlot> all = described_slots(m);
    std::set<ChassisSlot> shown;
    std::set<int> devs;
    size_t nports = 0;
    for (const ChassisSlot &s : all) {
        if ((opt.dev < 0 || s.dev == opt.dev) && (opt.slot < 0 || s.slot == opt.slot)) {
            shown.insert(s);
            devs.insert(s.dev);
            nports += s.sslot == 0 ? m.ports_of(s.dev, s.slot).size() : 0;
        }
    }
    std::string out = fmt("Chassis as described: %zu device%s, %zu card%s, %zu port%s\n",
                          devs.size(), devs.size() == 1 ? "" : "s", shown.size(),
                          shown.size() == 1 ? "" : "s", nports, nports == 1 ? "" : "s");
    if (m.me.known) {
        out += fmt("This card: device %d slot %d, card type %d, node %s\n",
                   dm_node_devid(m.me.node), dm_node_lslot(m.me.node), m.me.card_type,
                   hex32(static_cast<unsigned>(m.me.node)).c_str());
    }
    int dev = -1;
    for (const ChassisSlot &s : shown) {
        if (s.dev != dev) {
            dev = s.dev;
            out += fmt("\nDevice %d\n", dev) + mgmt_line(m, dev);
        }
        out += slot_line(m, s);
    }
    bool panels = opt.panels > 0 || (opt.panels < 0 && nports <= kPanelsUpTo);
    if (!panels) {
        if (nports > 0) {
            out += fmt("\n(%zu ports: show chassis dev=D slot=S draws a card's front panel)\n",
                       nports);
        }
        return out;
    }
    out +=
        "\nPort cells: lport and type (S split parent, E PoE) / interface index / unit and chip "
        "port\n";
    for (const ChassisSlot &s : shown) {
        if (s.sslot == 0) {
            out += panel(m, s);
        }
    }
    return out;
}

}  // namespace dmsim
