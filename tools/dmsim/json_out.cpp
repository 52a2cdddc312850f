// JSON Lines output.
#include "json_out.h"

#include <unistd.h>

#include <cstdio>

#include <dm_lib_pd/dm_ids.h>
#include <nlohmann/json.hpp>

#include "args.h"
#include "picture.h"

#ifndef DMSIM_VERSION
#define DMSIM_VERSION "unknown"
#endif

namespace dmsim {

using json = Json;

namespace {

int g_out = -1;              // the real standard output while JSON is on
std::FILE *g_cap = nullptr;  // where descriptor 1 goes meanwhile

void write_all(int fd, const std::string &s)
{
    size_t done = 0;
    while (done < s.size()) {
        ssize_t n = ::write(fd, s.data() + done, s.size() - done);
        if (n <= 0) {
            return;
        }
        done += static_cast<size_t>(n);
    }
}

json value_of(const Field &f)
{
    switch (f.kind) {
    case Field::Kind::Int:
        if (f.fmt == Fmt::Bool && (f.num == 0 || f.num == 1)) {
            return f.num != 0;
        }
        return f.num;
    case Field::Kind::List:
        return f.list;
    case Field::Kind::Str:
        return f.str;
    case Field::Kind::Unset:
        return "unset";
    case Field::Kind::Null:
        return nullptr;
    }
    return nullptr;
}

json decoded_id(const std::string &name, int v)
{
    IdParts id = decode_id(name, v);
    if (id.form == nullptr || v < 0) {
        return nullptr;
    }
    json d = {{"form", id.form}};
    for (const auto &p : id.parts) {
        d[p.first] = p.second;
    }
    return d;
}

// What a field means beyond its number: the parts of an identifier, the name
// of a port type, medium or node type; null when nothing.
json decoded_of(const Field &f)
{
    const bool named = f.fmt == Fmt::PortType || f.fmt == Fmt::Medium || f.fmt == Fmt::NodeType;
    const auto one = [&f, named](int v) -> json {
        if (named) {
            return f.fmt == Fmt::PortType ? port_type_name(v)
                   : f.fmt == Fmt::Medium ? medium_name(v)
                                          : node_type_name(v);
        }
        return f.fmt == Fmt::Hex ? decoded_id(f.name, v) : json();
    };
    if (f.kind == Field::Kind::Int) {
        return one(f.num);
    }
    if (f.kind != Field::Kind::List || (!named && f.fmt != Fmt::Hex) || f.list.empty()) {
        return nullptr;
    }
    json list = json::array();
    for (int v : f.list) {
        list.push_back(one(v));
    }
    return list;
}

// "pinfo.ifx" as obj["pinfo"]["ifx"].
void put(json &obj, const std::string &name, json v)
{
    size_t dot = name.find('.');
    if (dot == std::string::npos) {
        obj[name] = std::move(v);
    } else {
        put(obj[name.substr(0, dot)], name.substr(dot + 1), std::move(v));
    }
}

json ports_of(const Model &m, const ChassisSlot &s)
{
    json ports = json::array();
    for (const dp_lib_port_t *p : m.ports_of(s.dev, s.slot)) {
        json flags = json::array();
        if (p->is_parent != 0) {
            flags.push_back("split_parent");
        }
        if (p->poe_support != 0) {
            flags.push_back("poe");
        }
        ports.push_back({{"lport", p->portid},
                         {"type", p->type},
                         {"type_name", port_type_name(p->type)},
                         {"ifx", p->ifx},
                         {"unit", p->l_chipid},
                         {"chip_port", p->chip_portid},
                         {"chipid", p->g_chipid},
                         {"phyid", p->ss_phyid},
                         {"flags", flags}});
    }
    return ports;
}

}  // namespace

bool json_start(std::string *err)
{
    if (g_out >= 0) {
        return true;
    }
    std::fflush(stdout);
    g_cap = std::tmpfile();
    g_out = g_cap != nullptr ? ::dup(STDOUT_FILENO) : -1;
    if (g_out < 0 || ::dup2(fileno(g_cap), STDOUT_FILENO) < 0) {
        *err = "cannot capture standard output for JSON";
        json_stop();
        return false;
    }
    json_emit({{"dmsim", DMSIM_VERSION}, {"v", kJsonShapes}});
    return true;
}

void json_stop()
{
    std::fflush(stdout);
    if (g_out >= 0) {
        ::dup2(g_out, STDOUT_FILENO);
        ::close(g_out);
        g_out = -1;
    }
    if (g_cap != nullptr) {
        std::fclose(g_cap);
        g_cap = nullptr;
    }
}

bool json_active() { return g_out >= 0; }

std::string json_take_text()
{
    std::fflush(stdout);
    std::string text;
    if (g_cap == nullptr) {
        return text;
    }
    off_t end = ::lseek(STDOUT_FILENO, 0, SEEK_CUR);
    text.resize(end > 0 ? static_cast<size_t>(end) : 0);
    ssize_t n = text.empty() ? 0 : ::pread(fileno(g_cap), text.data(), text.size(), 0);
    text.resize(n > 0 ? static_cast<size_t>(n) : 0);
    if (::ftruncate(fileno(g_cap), 0) == 0) {
        ::lseek(STDOUT_FILENO, 0, SEEK_SET);
    }
    return text;
}

void json_emit(json obj)
{
    std::string text = json_take_text();
    if (!text.empty() && !obj.contains("text")) {
        obj["text"] = text;
    }
    // Bytes that are not UTF-8 are replaced rather than refused.
    write_all(g_out >= 0 ? g_out : STDOUT_FILENO,
              obj.dump(-1, ' ', false, json::error_handler_t::replace) + "\n");
}

json json_of_result(const Result &r)
{
    json obj = json::object();
    json out = json::object();
    json decoded = json::object();
    if (!r.fn.empty()) {
        obj["fn"] = r.fn;
        json args = json::array();
        json args_decoded = json::array();
        bool any = false;
        for (const Field &a : r.args) {
            args.push_back(value_of(a));
            args_decoded.push_back(decoded_of(a));
            any = any || !args_decoded.back().is_null();
        }
        obj["args"] = args;
        if (any) {
            decoded["args"] = args_decoded;
        }
    }
    for (const Field &f : r.fields) {
        if (f.name == "ret" && !r.fn.empty()) {
            obj["ret"] = value_of(f);
        } else {
            put(out, f.name, value_of(f));
        }
        json d = decoded_of(f);
        if (!d.is_null()) {
            put(decoded, f.name, std::move(d));
        }
    }
    obj["out"] = out;
    if (!decoded.empty()) {
        obj["decoded"] = decoded;
    }
    return obj;
}

json json_of_chassis(const Model &m)
{
    json devices = json::array();
    json *dev = nullptr;
    for (const ChassisSlot &s : described_slots(m)) {
        if (dev == nullptr || (*dev)["device"] != s.dev) {
            json d = {{"device", s.dev}, {"cards", json::array()}};
            if (s.dev >= 1 && s.dev <= 2) {
                d["mgmt_ifx"] = {m.mgmt_ifx[s.dev][0], m.mgmt_ifx[s.dev][1]};
            }
            devices.push_back(d);
            dev = &devices.back();
        }
        const Card *c = card_at(m, s);
        json card = {{"slot", s.slot},
                     {"sslot", s.sslot},
                     {"node", node_of(s.dev, s.slot, s.sslot)},
                     {"this_card", is_me(m, s)},
                     {"chip_ids", chip_ids(m, s)}};
        if (c != nullptr) {
            card["card_type"] = c->phy_type;
            card["name"] = card_name(m, c->phy_type);
            card["node_type"] = c->node_type;
            card["node_type_name"] = node_type_name(c->node_type);
        }
        card["ports"] = s.sslot == 0 ? ports_of(m, s) : json::array();
        (*dev)["cards"].push_back(card);
    }
    json chassis = {{"devices", devices}};
    if (m.me.known) {
        chassis["this_card"] = {{"node", m.me.node},
                                {"device", dm_node_devid(m.me.node)},
                                {"slot", dm_node_lslot(m.me.node)},
                                {"card_type", m.me.card_type}};
    }
    return chassis;
}

}  // namespace dmsim
