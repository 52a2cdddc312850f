// The chassis generator.
#include "gen.h"

#include <algorithm>
#include <map>
#include <memory>

#include <dm_kdev.h>
#include <dm_lib_pd/dm_ids.h>

#include "msgs.h"

namespace dmsim {

namespace {

struct GenParams {
    std::vector<int> devs = {1};
    std::vector<int> slots = {1, 2, 3, 4};
    int default_card = 100;
    std::map<int, int> card_of_slot;
    int ports = 48;
    int chips = 2;
    int chiptype = 10;
    int ids_per_chip = 1;
    int speed = PORT_TGIGABIT_ETHERNET;
    int medium = PORT_MEDIUM_FIBER;
    int node_type = DM_TYPE_LC;
    bool with_ifx = true;
    bool kdev = false;
    bool me_given = false;
    bool me_none = false;
    int me_dev = 0;
    int me_slot = 0;
};

bool in_range(const char *what, int v, int lo, int hi, std::string *err)
{
    if (v >= lo && v <= hi) {
        return true;
    }
    *err = std::string(what) + " must be " + std::to_string(lo) + ".." + std::to_string(hi);
    return false;
}

// cards=100,30-31:200: a bare type for every slot, SLOTS:TYPE for some.
bool parse_cards(const std::string &text, GenParams *p, std::string *err)
{
    size_t start = 0;
    while (true) {
        size_t comma = text.find(',', start);
        std::string item =
            text.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
        size_t colon = item.find(':');
        int type = 0;
        if (colon == std::string::npos) {
            if (!parse_int(item, &type, err)) {
                return false;
            }
            p->default_card = type;
        } else {
            std::vector<int> slots;
            if (!parse_list(item.substr(0, colon), &slots, err, 64) ||
                !parse_int(item.substr(colon + 1), &type, err)) {
                return false;
            }
            for (int s : slots) {
                p->card_of_slot[s] = type;
            }
        }
        if (comma == std::string::npos) {
            return true;
        }
        start = comma + 1;
    }
}

bool parse_params(const Args &a, GenParams *p, std::string *err)
{
    if (!a.only({"devs", "slots", "cards", "ports", "chips", "chiptype", "ids_per_chip", "chipid",
                 "speed", "medium", "node_type", "me", "ifx", "kdev"},
                err)) {
        return false;
    }
    if (!a.pos.empty()) {
        *err = "gen takes only name=value options";
        return false;
    }
    if (const std::string *s = a.opt("devs")) {
        if (!parse_list(*s, &p->devs, err, 2)) {
            return false;
        }
    }
    if (const std::string *s = a.opt("slots")) {
        if (!parse_list(*s, &p->slots, err, 32)) {
            return false;
        }
    }
    if (const std::string *s = a.opt("cards")) {
        if (!parse_cards(*s, p, err)) {
            return false;
        }
    }
    int ifx = 1;
    int kdev = 0;
    if (!a.get("ports", &p->ports, err) || !a.get("chips", &p->chips, err) ||
        !a.get("chiptype", &p->chiptype, err) || !a.get("ids_per_chip", &p->ids_per_chip, err) ||
        !a.get("ifx", &ifx, err) || !a.get("kdev", &kdev, err)) {
        return false;
    }
    p->with_ifx = ifx != 0;
    p->kdev = kdev != 0;
    if ((a.has("speed") && !parse_port_type(*a.opt("speed"), &p->speed, err)) ||
        (a.has("medium") && !parse_medium(*a.opt("medium"), &p->medium, err)) ||
        (a.has("node_type") && !parse_node_type(*a.opt("node_type"), &p->node_type, err))) {
        return false;
    }
    if (const std::string *s = a.opt("me")) {
        p->me_given = true;
        if (*s == "none") {
            p->me_none = true;
        } else {
            std::vector<int> ds;
            std::string t = *s;
            for (char &c : t) {
                c = c == '/' ? ',' : c;
            }
            if (!parse_list(t, &ds, err, 2) || ds.size() != 2) {
                *err = "me= should be DEV/SLOT or none";
                return false;
            }
            p->me_dev = ds[0];
            p->me_slot = ds[1];
        }
    }
    for (int d : p->devs) {
        if (!in_range("devs", d, 1, 2, err)) {
            return false;
        }
    }
    for (int s : p->slots) {
        if (!in_range("slots", s, 0, 31, err)) {
            return false;
        }
    }
    return in_range("ports", p->ports, 0, DP_LIB_CARD_LPORT_MAX, err) &&
           in_range("chips", p->chips, 1, DP_LIB_CARD_UNIT_MAX, err) &&
           in_range("ids_per_chip", p->ids_per_chip, 1, CHIPID_SLOT_ID_MAX, err) &&
           in_range("chips x ids_per_chip", p->chips * p->ids_per_chip, 1, CHIPID_SLOT_ID_MAX, err);
}

int card_type_of(const GenParams &p, int slot)
{
    auto it = p.card_of_slot.find(slot);
    return it != p.card_of_slot.end() ? it->second : p.default_card;
}

GenAction data_action(int msgid, const std::vector<uint8_t> &payload)
{
    GenAction act{GenAction::Kind::Data, {}, {}, dp_message(msgid, DP_LIB_MOD_PD, payload)};
    return act;
}

// A card type of `ports` ports spread evenly over `chips` chips.
bool make_card_type(const GenParams &p, int type, dp_lib_card_type_info_t *rec, std::string *err)
{
    std::vector<std::string> words = {
        "type=" + std::to_string(type),
        "name=" + std::string(p.node_type == DM_TYPE_MB ? "MB-" : "LC-") + std::to_string(p.ports) +
            "P",
        "ports=" + std::to_string(p.ports),
        "chips=" + std::to_string(p.chips),
        "chiptype=" + std::to_string(p.chiptype),
        "node_type=" + std::to_string(p.node_type),
    };
    return build_card_type(Args::from_words(words, 0), rec, err);
}

// A plan being made: the parameters, the chassis as it will be, the steps
// and their counts. Each step below adds one kind of thing to it.
struct Plan {
    GenParams p;
    Model m;
    std::vector<GenAction> out;
    GenSummary sum;
    std::vector<chipid_slot_t> allocs;
    int next_chipid = 0;
};

// The chip type, unless it is described already.
void plan_chip_type(Plan &g)
{
    if (g.m.chip_types.count(g.p.chiptype) == 0) {
        dp_lib_chip_info_t chip = {g.p.chiptype, 1, 0xFF, 0};
        g.m.chip_types[g.p.chiptype] = chip;
        g.out.push_back(data_action(DP_LIB_MSG_CHIP_CFG, bytes_of(chip)));
    }
}

// The card types of the slots that are not described yet.
bool plan_card_types(Plan &g, std::string *err)
{
    for (int slot : g.p.slots) {
        int type = card_type_of(g.p, slot);
        if (g.m.card_types.count(type) != 0) {
            continue;
        }
        auto rec = std::make_unique<dp_lib_card_type_info_t>();
        if (!make_card_type(g.p, type, rec.get(), err)) {
            return false;
        }
        g.m.card_types[type] = *rec;
        g.out.push_back(data_action(DP_LIB_MSG_CARD_CFG, bytes_of(*rec)));
        ++g.sum.card_types;
    }
    return true;
}

// Every card present, and a chip-ID allocation for each slot without one.
bool plan_cards(Plan &g, std::string *err)
{
    for (int dev : g.p.devs) {
        for (int slot : g.p.slots) {
            int type = card_type_of(g.p, slot);
            const dp_lib_card_type_info_t &ct = g.m.card_types[type];
            Card card{dm_node_make(dev, slot), type, type, g.p.node_type};
            g.m.apply_card(card);
            g.out.push_back({GenAction::Kind::SetCard, card, {}, {}});
            ++g.sum.cards;
            int gslot = dm_get_gslot_from_lslot(dev, slot, 0);
            int chips = ct.chip_num > 0 ? ct.chip_num : 1;
            int ids = chips * g.p.ids_per_chip;
            if (g.m.chipids.count(gslot) != 0 || ids > CHIPID_SLOT_ID_MAX) {
                continue;  // keeps the allocation the slot already has
            }
            if (g.next_chipid + ids > 2048) {
                *err = "chip IDs would run past 2047 (chipid= sets where they start)";
                return false;
            }
            chipid_slot_t rec = {};
            rec.status = CHIPID_VALID;
            rec.gslot = gslot;
            rec.card_type = type;
            rec.idnum_per_unit = static_cast<uint16_t>(g.p.ids_per_chip);
            rec.id_num = static_cast<uint16_t>(ids);
            for (int i = 0; i < ids; ++i) {
                rec.id[i] = static_cast<uint16_t>(g.next_chipid++);
            }
            g.m.apply_chipid(rec);
            g.allocs.push_back(rec);
            g.sum.chip_ids += ids;
        }
    }
    return true;
}

// This card, when asked for or when none is set yet.
bool plan_me(Plan &g, std::string *err)
{
    GenParams &p = g.p;
    if (!p.me_given && !g.m.me.known && !p.devs.empty() && !p.slots.empty()) {
        p.me_dev = p.devs.front();
        p.me_slot = p.slots.front();
        p.me_given = true;
    }
    if (!p.me_given || p.me_none) {
        return true;
    }
    int type = card_type_of(p, p.me_slot);
    if (std::find(p.devs.begin(), p.devs.end(), p.me_dev) == p.devs.end() ||
        std::find(p.slots.begin(), p.slots.end(), p.me_slot) == p.slots.end()) {
        *err = "me= names a slot that this gen does not fill";
        return false;
    }
    g.m.me = {true, dm_node_make(p.me_dev, p.me_slot),
              dm_get_gslot_from_lslot(p.me_dev, p.me_slot, 0), type, p.node_type};
    GenAction act{GenAction::Kind::SetMe, {}, g.m.me, {}};
    g.out.push_back(act);
    g.sum.me_set = true;
    g.sum.me_dev = p.me_dev;
    g.sum.me_slot = p.me_slot;
    return true;
}

// The allocations, as the address manager sends them: at most 64 records
// in one batch.
void plan_chipid_sync(Plan &g)
{
    for (size_t i = 0; i < g.allocs.size(); i += 64) {
        std::vector<chipid_slot_t> part(g.allocs.begin() + i,
                                        g.allocs.begin() + std::min(g.allocs.size(), i + 64));
        g.out.push_back({GenAction::Kind::Addr, {}, {}, addr_sync(ADDR_LIB_BS_SYNC, part)});
    }
}

// One port record of a card type's lport, and the kernel device's view of
// its interface index when asked.
void plan_port(Plan &g, int dev, int slot, int l, const dp_lib_card_type_info_t &ct)
{
    int gslot = dm_get_gslot_from_lslot(dev, slot, 0);
    dp_lib_port_t port = {};
    port.devid = dev;
    port.slotid = slot;
    port.portid = l;
    port.l_chipid = ct.lport_unit[l];
    port.chip_portid = ct.chip_port[l];
    port.phyid = dm_phyid_make(dev, slot, port.l_chipid, port.chip_portid);
    port.ss_phyid = dm_slot_lport_phyid(dev, slot, l);
    port.node = dm_node_make(dev, slot);
    port.g_chipid = std::max(0, g.m.first_chipid(gslot, port.l_chipid));
    port.ifx = g.p.with_ifx ? (dev << 20) | (slot << 12) | l : 0;
    port.type = g.p.speed;
    port.medium_type = g.p.medium;
    port.poe_support = ct.lport_poe_support[l];
    port.lsm_key = port.ss_phyid;
    port.lsm_user_slot = slot;
    port.lsm_user_port = l;
    g.m.apply_port(port);
    g.out.push_back(data_action(DP_LIB_MSG_PORT_INFO, bytes_of(port)));
    if (g.p.kdev && port.ifx != 0) {
        const int llcb = dm_kdev_llcb_of_port_type(port.type);
        g.out.push_back({GenAction::Kind::KdevIfx, {}, {}, {}, port.lsm_key, llcb, port.ifx});
        g.out.push_back({GenAction::Kind::KdevKey, {}, {}, {}, port.ifx, port.lsm_key, 0});
    }
    ++g.sum.ports;
}

// Every port of every card.
void plan_ports(Plan &g)
{
    for (int dev : g.p.devs) {
        for (int slot : g.p.slots) {
            const dp_lib_card_type_info_t &ct = g.m.card_types[card_type_of(g.p, slot)];
            for (int l = 0; l < DP_LIB_CARD_LPORT_MAX; ++l) {
                if (ct.lport_unit[l] >= 0 && ct.chip_port[l] >= 0) {
                    plan_port(g, dev, slot, l, ct);
                }
            }
        }
    }
}

// This card's local ports, when this gen set this card.
void plan_local_ports(Plan &g)
{
    if (g.sum.me_set) {
        g.m.my_lports =
            lports_of_card_type(g.m.card_types[g.m.me.card_type], g.p.medium, g.p.speed);
        g.out.push_back(
            data_action(DP_LIB_MSG_MY_LPORT_CFG,
                        lport_payload(g.m.my_lports, static_cast<int>(g.m.my_lports.size()))));
    }
}

}  // namespace

bool gen_chassis(const Args &a, Model &model, std::vector<GenAction> *actions, GenSummary *summary,
                 std::string *err)
{
    Plan g;
    g.next_chipid = model.next_chipid;
    if (!parse_params(a, &g.p, err) || !a.get("chipid", &g.next_chipid, err)) {
        return false;
    }
    g.m = model;  // applied only when the whole plan stands
    g.sum.devices = static_cast<int>(g.p.devs.size());
    plan_chip_type(g);
    if (!plan_card_types(g, err) || !plan_cards(g, err) || !plan_me(g, err)) {
        return false;
    }
    plan_chipid_sync(g);
    plan_ports(g);
    plan_local_ports(g);
    g.m.next_chipid = g.next_chipid;
    model = std::move(g.m);
    actions->insert(actions->end(), g.out.begin(), g.out.end());
    *summary = g.sum;
    return true;
}

}  // namespace dmsim
