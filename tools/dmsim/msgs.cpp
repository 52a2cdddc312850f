// Message builders: records from readable options.
#include "msgs.h"

#include <algorithm>

#include <dm_lib_pd/dm_ids.h>

namespace dmsim {

namespace {

bool in_range(const char *name, int v, int lo, int hi, std::string *err)
{
    if (v >= lo && v <= hi) {
        return true;
    }
    *err = std::string(name) + " must be " + std::to_string(lo) + ".." + std::to_string(hi);
    return false;
}

template <class Parse>
bool opt_named(const Args &a, const char *name, int *v, Parse parse, std::string *err)
{
    const std::string *s = a.opt(name);
    return s == nullptr || parse(*s, v, err);
}

// "a:b" or "a:b:c" items of a comma-separated list, each part a number.
// Fills the front of `out` from the list option `name` (at most N values, see
// parse_list), if given: the number of values, or -1 after an error.
template <class T, size_t N>
int opt_array(const Args &a, const char *name, T (&out)[N], std::string *err)
{
    std::vector<int> values;
    if (const std::string *text = a.opt(name)) {
        if (!parse_list(*text, &values, err, N)) {
            return -1;
        }
    }
    for (size_t i = 0; i < values.size(); ++i) {
        out[i] = static_cast<T>(values[i]);
    }
    return static_cast<int>(values.size());
}

bool parse_tuples(const std::string &text, size_t parts, std::vector<std::vector<int>> *out,
                  std::string *err)
{
    out->clear();
    size_t start = 0;
    while (start <= text.size() && !text.empty()) {
        size_t comma = text.find(',', start);
        std::string item =
            text.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
        std::vector<int> t;
        size_t s = 0;
        while (true) {
            size_t colon = item.find(':', s);
            int v = 0;
            if (!parse_int(
                    item.substr(s, colon == std::string::npos ? std::string::npos : colon - s), &v,
                    err)) {
                return false;
            }
            t.push_back(v);
            if (colon == std::string::npos) {
                break;
            }
            s = colon + 1;
        }
        if (t.size() != parts) {
            *err =
                "'" + item + "' should have " + std::to_string(parts) + " parts separated by ':'";
            return false;
        }
        out->push_back(t);
        if (comma == std::string::npos) {
            break;
        }
        start = comma + 1;
    }
    return true;
}

const std::vector<std::string> kSplitOpts = {"parent", "modes", "def", "children"};

// parent=1 modes=ID:N,.. def=ID children=LIST
bool build_split(const Args &a, uint8_t *is_parent, dp_lib_port_split_info_t *s, std::string *err)
{
    int parent = a.has("modes") ? 1 : 0;
    if (!a.get("parent", &parent, err)) {
        return false;
    }
    *is_parent = parent != 0;
    std::memset(s, 0, sizeof *s);
    std::vector<std::vector<int>> modes;
    if (const std::string *m = a.opt("modes")) {
        if (!parse_tuples(*m, 2, &modes, err)) {
            return false;
        }
    }
    if (modes.size() > DP_LIB_SPLIT_MODE_MAX) {
        *err = "at most 4 split modes";
        return false;
    }
    s->split_mode_num = static_cast<uint8_t>(modes.size());
    for (size_t i = 0; i < modes.size(); ++i) {
        s->split_mode_id[i] = static_cast<uint8_t>(modes[i][0]);
        s->split_mode_port_num[i] = static_cast<uint8_t>(modes[i][1]);
    }
    int def = modes.empty() ? 0 : modes[0][0];
    if (!a.get("def", &def, err)) {
        return false;
    }
    s->def_split_mode = static_cast<uint8_t>(def);
    return opt_array(a, "children", s->child_port_lport, err) >= 0;
}

std::vector<std::string> with(std::vector<std::string> a, const std::vector<std::string> &b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// The card type's own fields: type, name, chip count and chip types, PoE,
// node type; *cport is where the chip ports start.
bool card_identity(const Args &a, dp_lib_card_type_info_t *rec, int *cport, std::string *err)
{
    int type = 0;
    int chips = 1;
    int chiptype = 0;
    int poe = 0;
    int node_type = DM_TYPE_LC;
    if (!a.need("type", &type, err) || !a.get("chips", &chips, err) ||
        !a.get("chiptype", &chiptype, err) || !a.get("cport", cport, err) ||
        !a.get("poe", &poe, err) || !opt_named(a, "node_type", &node_type, parse_node_type, err) ||
        !in_range("chips", chips, 0, DP_LIB_CARD_UNIT_MAX, err)) {
        return false;
    }
    rec->card_type = type;
    rec->chip_num = chips;
    rec->poe_support = poe != 0;
    rec->node_type = node_type;
    std::string name = a.opt("name") ? *a.opt("name") : "card-" + std::to_string(type);
    std::strncpy(rec->name, name.c_str(), sizeof rec->name - 1);
    std::vector<int> chip_types(static_cast<size_t>(chips), chiptype);
    if (const std::string *ct = a.opt("chiptypes")) {
        if (!parse_list(*ct, &chip_types, err, DP_LIB_CARD_UNIT_MAX)) {
            return false;
        }
    }
    std::copy(chip_types.begin(), chip_types.end(), rec->chip_types);
    return true;
}

// The front-panel lports (lports=, or 1..ports), with the port count.
bool card_lports(const Args &a, dp_lib_card_type_info_t *rec, std::vector<int> *lports,
                 std::string *err)
{
    int ports = 0;
    if (const std::string *l = a.opt("lports")) {
        if (!parse_list(*l, lports, err, DP_LIB_CARD_LPORT_MAX)) {
            return false;
        }
        ports = static_cast<int>(lports->size());
    }
    if (!a.get("ports", &ports, err) || !in_range("ports", ports, 0, DP_LIB_CARD_LPORT_MAX, err)) {
        return false;
    }
    if (!a.has("lports")) {
        int first = ports == DP_LIB_CARD_LPORT_MAX ? 0 : 1;
        for (int i = 0; i < ports; ++i) {
            lports->push_back(first + i);
        }
    }
    rec->port_num = ports;
    return true;
}

// Each lport to a unit and chip port: per_unit lports per unit in turn, at
// chip ports from cport upwards.
bool spread_lports(const Args &a, const std::vector<int> &lports, int cport,
                   dp_lib_card_type_info_t *rec, std::string *err)
{
    const int chips = rec->chip_num;
    int n = static_cast<int>(lports.size());
    int per_unit = std::max(1, chips > 0 ? (n + chips - 1) / chips : n);
    if (!a.get("per_unit", &per_unit, err) || !in_range("per_unit", per_unit, 1, 512, err)) {
        return false;
    }
    std::memset(rec->lport_unit, -1, sizeof rec->lport_unit);
    std::fill(std::begin(rec->chip_port), std::end(rec->chip_port), -1);
    for (int i = 0; i < n; ++i) {
        if (!in_range("lport", lports[i], 0, DP_LIB_CARD_LPORT_MAX - 1, err)) {
            return false;
        }
        rec->lport_unit[lports[i]] =
            static_cast<int8_t>(chips > 0 ? std::min(i / per_unit, chips - 1) : 0);
        rec->chip_port[lports[i]] = cport + i % per_unit;
    }
    return true;
}

// map=L:U:P,..: single lports moved (unit -1 removes one); then each unit's
// highest chip port.
bool map_lports(const Args &a, dp_lib_card_type_info_t *rec, std::string *err)
{
    std::vector<std::vector<int>> map;
    if (const std::string *m = a.opt("map")) {
        if (!parse_tuples(*m, 3, &map, err)) {
            return false;
        }
    }
    for (const auto &t : map) {
        if (!in_range("map lport", t[0], 0, DP_LIB_CARD_LPORT_MAX - 1, err) ||
            !in_range("map unit", t[1], -128, 127, err)) {
            return false;
        }
        rec->lport_unit[t[0]] = static_cast<int8_t>(t[1]);
        rec->chip_port[t[0]] = t[1] < 0 ? -1 : t[2];
    }
    for (int l = 0; l < DP_LIB_CARD_LPORT_MAX; ++l) {
        int u = rec->lport_unit[l];
        if (u >= 0 && u < DP_LIB_CARD_UNIT_MAX) {
            rec->chip_cport_max[u] = std::max(rec->chip_cport_max[u], rec->chip_port[l]);
        }
    }
    return true;
}

// poe_lports=LIST: the lports that supply power.
bool poe_lports(const Args &a, dp_lib_card_type_info_t *rec, std::string *err)
{
    std::vector<int> lports;
    if (const std::string *p = a.opt("poe_lports")) {
        if (!parse_list(*p, &lports, err, DP_LIB_CARD_LPORT_MAX)) {
            return false;
        }
    }
    for (int l : lports) {
        if (!in_range("poe lport", l, 0, DP_LIB_CARD_LPORT_MAX - 1, err)) {
            return false;
        }
        rec->lport_poe_support[l] = 1;
    }
    return true;
}

// relate=M:A-B,..: related port ranges.
bool relate_ports(const Args &a, dp_lib_card_type_info_t *rec, std::string *err)
{
    std::vector<std::vector<int>> relate;
    if (const std::string *r = a.opt("relate")) {
        // M:A-B is read as the three parts M, A and B.
        std::string t = *r;
        for (size_t i = 1; i < t.size(); ++i) {
            if (t[i] == '-' && t[i - 1] != ':' && t[i - 1] != ',') {
                t[i] = ':';
            }
        }
        if (!parse_tuples(t, 3, &relate, err)) {
            return false;
        }
    }
    if (relate.size() > DP_LIB_CARD_RELATE_MAX) {
        *err = "at most 32 related port ranges";
        return false;
    }
    for (size_t i = 0; i < relate.size(); ++i) {
        rec->relate_port[i] = {relate[i][0], relate[i][1], relate[i][2]};
    }
    return true;
}

}  // namespace

bool build_card_type(const Args &a, dp_lib_card_type_info_t *rec, std::string *err)
{
    if (!a.only({"type", "name", "ports", "chips", "chiptype", "chiptypes", "lports", "per_unit",
                 "cport", "poe", "poe_lports", "node_type", "map", "relate"},
                err)) {
        return false;
    }
    std::memset(rec, 0, sizeof *rec);
    int cport = 1;
    std::vector<int> lports;
    return card_identity(a, rec, &cport, err) && card_lports(a, rec, &lports, err) &&
           spread_lports(a, lports, cport, rec, err) && map_lports(a, rec, err) &&
           poe_lports(a, rec, err) && relate_ports(a, rec, err);
}

bool build_chip_type(const Args &a, dp_lib_chip_info_t *rec, std::string *err)
{
    *rec = {};
    return a.only({"type", "family", "invalid", "cmic"}, err) &&
           a.need("type", &rec->chip_type, err) && a.get("family", &rec->chip_family, err) &&
           a.get("invalid", &rec->invalid_port, err) && a.get("cmic", &rec->cmic_port, err);
}

bool build_port(const Args &a, dp_lib_port_t *rec, std::string *err)
{
    if (!a.only(with({"dev", "slot", "lport", "unit", "cport", "ifx", "chipid", "sslot", "node",
                      "type", "medium", "switch", "poe", "lsm_key", "lsm_slot", "lsm_port",
                      "subcard", "phyid", "ss_phyid"},
                     kSplitOpts),
                err)) {
        return false;
    }
    std::memset(rec, 0, sizeof *rec);
    int dev = 0;
    int slot = 0;
    int lport = 0;
    int unit = 0;
    int cport = 0;
    if (!a.need("dev", &dev, err) || !a.need("slot", &slot, err) || !a.need("lport", &lport, err) ||
        !a.need("unit", &unit, err) || !a.need("cport", &cport, err)) {
        return false;
    }
    rec->devid = dev;
    rec->slotid = slot;
    rec->portid = lport;
    rec->l_chipid = unit;
    rec->chip_portid = cport;
    rec->phyid = dm_phyid_make(dev, slot, unit, cport);
    rec->ss_phyid = dm_slot_lport_phyid(dev, slot, lport);
    rec->type = PORT_TGIGABIT_ETHERNET;
    rec->medium_type = PORT_MEDIUM_FIBER;
    int sslot = 0;
    int sw = 0;
    int poe = 0;
    if (!a.get("sslot", &sslot, err)) {
        return false;
    }
    rec->subslotid = sslot;
    rec->node = node_of(dev, slot, sslot);
    rec->lsm_key = rec->ss_phyid;
    rec->lsm_user_slot = slot;
    rec->lsm_user_port = lport;
    if (!a.get("ifx", &rec->ifx, err) || !a.get("chipid", &rec->g_chipid, err) ||
        !a.get("node", &rec->node, err) ||
        !opt_named(a, "type", &rec->type, parse_port_type, err) ||
        !opt_named(a, "medium", &rec->medium_type, parse_medium, err) ||
        !a.get("switch", &sw, err) || !a.get("poe", &poe, err) ||
        !a.get("lsm_key", &rec->lsm_key, err) || !a.get("lsm_slot", &rec->lsm_user_slot, err) ||
        !a.get("lsm_port", &rec->lsm_user_port, err) ||
        !a.get("subcard", &rec->subcard_node, err) || !a.get("phyid", &rec->phyid, err) ||
        !a.get("ss_phyid", &rec->ss_phyid, err)) {
        return false;
    }
    rec->port_switch = sw != 0;
    rec->poe_support = poe != 0;
    return build_split(a, &rec->is_parent, &rec->split_info, err);
}

bool build_lport(const Args &a, dp_lib_lport_t *rec, std::string *err)
{
    if (!a.only(with({"lport", "unit", "cport", "key", "medium", "type"}, kSplitOpts), err)) {
        return false;
    }
    std::memset(rec, 0, sizeof *rec);
    int lport = 0;
    int unit = 0;
    int cport = 0;
    int medium = PORT_MEDIUM_FIBER;
    int type = PORT_TGIGABIT_ETHERNET;
    if (!a.need("lport", &lport, err) || !in_range("lport", lport, 0, 255, err)) {
        return false;
    }
    bool keyed = a.has("key");
    if (!keyed && (!a.need("unit", &unit, err) || !a.need("cport", &cport, err))) {
        return false;
    }
    rec->lport_phyid = dm_lport_phyid_make(unit, cport);
    if (!a.get("key", &rec->lport_phyid, err) ||
        !opt_named(a, "medium", &medium, parse_medium, err) ||
        !opt_named(a, "type", &type, parse_port_type, err)) {
        return false;
    }
    rec->lport = static_cast<uint8_t>(lport);
    rec->medium_type = static_cast<uint8_t>(medium);
    rec->type = static_cast<uint8_t>(type);
    return build_split(a, &rec->is_parent, &rec->split_info, err);
}

std::vector<dp_lib_lport_t> lports_of_card_type(const dp_lib_card_type_info_t &card, int medium,
                                                int type)
{
    std::vector<dp_lib_lport_t> out;
    for (int l = 0; l < DP_LIB_CARD_LPORT_MAX; ++l) {
        if (card.lport_unit[l] < 0 || card.chip_port[l] < 0) {
            continue;
        }
        dp_lib_lport_t rec = {};
        rec.lport_phyid = dm_lport_phyid_make(card.lport_unit[l], card.chip_port[l]);
        rec.lport = static_cast<uint8_t>(l);
        rec.medium_type = static_cast<uint8_t>(medium);
        rec.type = static_cast<uint8_t>(type);
        out.push_back(rec);
    }
    return out;
}

bool build_mgmt(const Args &a, dp_lib_phy_mgmt_ifx_msg_t *rec, std::string *err)
{
    *rec = {};
    int ifx = 0;
    int mode = 0;
    if (!a.only({"dev", "lport", "ifx", "mode"}, err) || !a.need("dev", &rec->dev_id, err) ||
        !a.need("lport", &rec->lport, err) || !a.need("ifx", &ifx, err) ||
        !a.get("mode", &mode, err)) {
        return false;
    }
    rec->ifx = static_cast<uint32_t>(ifx);
    rec->mgmt_mode = static_cast<uint8_t>(mode);
    return true;
}

bool build_preinst(const Args &a, dp_lib_per_inst_info_t *rec, std::string *err)
{
    std::memset(rec, 0, sizeof *rec);
    if (!a.only({"len"}, err)) {
        return false;
    }
    if (a.pos.size() > DP_LIB_PER_INST_MAX) {
        *err = "at most 256 cards";
        return false;
    }
    for (size_t i = 0; i < a.pos.size(); ++i) {
        std::vector<int> parts;
        std::string t = a.pos[i];
        std::replace(t.begin(), t.end(), '/', ',');
        if (!parse_list(t, &parts, err, 3) || parts.size() != 3) {
            *err = "card '" + a.pos[i] + "' should be DEV/SLOT/SSLOT";
            return false;
        }
        rec->info[i] = {static_cast<uint8_t>(parts[0]), static_cast<uint8_t>(parts[1]),
                        static_cast<uint8_t>(parts[2]), 0};
    }
    rec->len = static_cast<int32_t>(a.pos.size());
    return a.get("len", &rec->len, err);
}

bool build_fc_entries(const std::vector<std::string> &words, std::vector<dm_convert_cfg_t> *entries,
                      std::string *err)
{
    entries->clear();
    for (const std::string &w : words) {
        size_t colon = w.rfind(':');
        if (colon == std::string::npos) {
            *err = "entry '" + w + "' should be PHYID:TYPE";
            return false;
        }
        dm_convert_cfg_t e = {};
        if (!parse_int(w.substr(0, colon), &e.phyid, err) ||
            !parse_port_type(w.substr(colon + 1), &e.type, err)) {
            return false;
        }
        entries->push_back(e);
    }
    return true;
}

bool build_chipid(const Args &a, chipid_slot_t *rec, std::string *err)
{
    std::memset(rec, 0, sizeof *rec);
    if (!a.only({"dev", "slot", "sslot", "gslot", "ids", "per_unit", "card", "status", "id_num"},
                err)) {
        return false;
    }
    if (a.has("gslot")) {
        if (!a.need("gslot", &rec->gslot, err)) {
            return false;
        }
    } else {
        int dev = 0;
        int slot = 0;
        int sslot = 0;
        if (!a.need("dev", &dev, err) || !a.need("slot", &slot, err) ||
            !a.get("sslot", &sslot, err)) {
            return false;
        }
        rec->gslot = dm_get_gslot_from_lslot(dev, slot, sslot);
    }
    const int ids = opt_array(a, "ids", rec->id, err);
    if (ids < 0) {
        return false;
    }
    int per_unit = 1;
    int id_num = ids;
    int status = ids == 0 ? CHIPID_NONE : CHIPID_VALID;
    if (const std::string *s = a.opt("status")) {
        if (*s == "valid" || *s == "none" || *s == "limit" || *s == "end") {
            status = *s == "valid"   ? CHIPID_VALID
                     : *s == "none"  ? CHIPID_NONE
                     : *s == "limit" ? CHIPID_LIMIT
                                     : CHIPID_END;
        } else if (!parse_int(*s, &status, err)) {
            return false;
        }
    }
    if (!a.get("per_unit", &per_unit, err) || !a.get("card", &rec->card_type, err) ||
        !a.get("id_num", &id_num, err)) {
        return false;
    }
    rec->status = status;
    rec->idnum_per_unit = static_cast<uint16_t>(per_unit);
    rec->id_num = static_cast<uint16_t>(id_num);
    return true;
}

}  // namespace dmsim
