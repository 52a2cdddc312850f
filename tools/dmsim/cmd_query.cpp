// Commands that ask: call any exported function, run a debug show command,
// draw the chassis, list the call table, and generate a whole chassis.
#include <cstdio>

#include <dm_host_ctl.h>
#include <nlohmann/json.hpp>

#include "calls.h"
#include "gen.h"
#include "json_out.h"
#include "picture.h"
#include "session.h"

namespace dmsim {

namespace {

bool cmd_call(Session &s, const Args &a, std::string *err)
{
    if (a.pos.empty()) {
        *err = "usage: call FUNCTION ARGS... (calls lists the functions)";
        return false;
    }
    const CallEntry *e = find_call(a.pos[0]);
    if (e == nullptr) {
        *err = "no exported function '" + a.pos[0] + "' (calls lists them)";
        return false;
    }
    Args rest = a;
    rest.pos.erase(rest.pos.begin());
    Result r;
    if (!run_call(*e, rest, &r, err)) {
        return false;
    }
    if (!json_active()) {
        std::fputs(render(r).c_str(), stdout);
    }
    set_last(s, r);
    return true;
}

bool cmd_show(Session &s, const Args &a, std::string *err)
{
    if (a.pos.size() == 1 && a.pos[0] == "chassis") {
        PictureOptions opt;
        if (!a.only({"dev", "slot", "panels"}, err) || !a.get("dev", &opt.dev, err) ||
            !a.get("slot", &opt.slot, err) || !a.get("panels", &opt.panels, err)) {
            return false;
        }
        if (json_active()) {
            s.emitted = true;
            json_emit({{"cmd", "show"}, {"chassis", json_of_chassis(s.model)}});
        } else {
            std::fputs(draw_chassis(s.model, opt).c_str(), stdout);
        }
        return true;
    }
    int para = 0;
    if (a.pos.size() != 1 || !a.opts.empty() || !parse_int(a.pos[0], &para, err)) {
        if (err->empty()) {
            *err = "usage: show N | show chassis [dev=D] [slot=S] [panels=0|1]";
        }
        return false;
    }
    std::fflush(stdout);
    if (!dm_host_show(para)) {
        *err = "the library has no show handler registered";
        return false;
    }
    std::fflush(stdout);
    if (json_active()) {
        // The library's own text, carried as it printed it.
        s.emitted = true;
        json_emit({{"cmd", "show"}, {"para", para}, {"text", json_take_text()}});
    }
    return true;
}

bool cmd_calls(Session &s, const Args &a, std::string *err)
{
    if (a.pos.size() > 1 || !a.opts.empty()) {
        *err = "usage: calls [TEXT]";
        return false;
    }
    std::string family;
    int listed = 0;
    int missing = 0;
    for (const CallEntry &e : call_table()) {
        if (!a.pos.empty() && std::string(e.name).find(a.pos[0]) == std::string::npos &&
            a.pos[0] != e.family) {
            continue;
        }
        if (family != e.family) {
            family = e.family;
            std::printf("[%s]\n", e.family);
        }
        std::printf("  %s%s\n", call_usage(e).c_str(),
                    call_symbol(e) == nullptr ? "   (not exported)" : "");
        ++listed;
        missing += call_symbol(e) == nullptr ? 1 : 0;
    }
    Result r;
    r.title = "calls";
    r.add_int("count", listed, Fmt::Dec);
    r.add_int("missing", missing, Fmt::Dec);
    set_last(s, r);
    return true;
}

// Carries out the generator's plan through the host.
bool run_plan(const std::vector<GenAction> &plan, std::string *err)
{
    for (const GenAction &act : plan) {
        bool ok = true;
        switch (act.kind) {
        case GenAction::Kind::SetMe:
            dm_host_set_my_card(act.me.node, act.me.lslotid, act.me.card_type, act.me.node_type);
            break;
        case GenAction::Kind::SetCard:
            dm_host_set_card(act.card.node, act.card.phy_type, act.card.cfg_type,
                             act.card.node_type);
            break;
        case GenAction::Kind::Data:
            ok = dm_host_send_data(act.bytes.data(), static_cast<int>(act.bytes.size()));
            break;
        case GenAction::Kind::Addr:
            ok = dm_host_addr_data(act.bytes.data(), static_cast<int>(act.bytes.size()));
            break;
        case GenAction::Kind::KdevIfx:
            dm_host_kdev_set_ifx(act.a, act.b, act.c);
            break;
        case GenAction::Kind::KdevKey:
            dm_host_kdev_set_lsm_key(act.a, act.b);
            break;
        }
        if (!ok) {
            *err = "the library has no handler registered for the generated messages";
            return false;
        }
    }
    return true;
}

bool cmd_gen(Session &s, const Args &a, std::string *err)
{
    std::vector<GenAction> plan;
    GenSummary sum;
    if (!gen_chassis(a, s.model, &plan, &sum, err) || !run_plan(plan, err)) {
        return false;
    }
    std::printf("gen: %d device%s, %d card%s, %d port%s, %d new card type%s, %d chip IDs",
                sum.devices, sum.devices == 1 ? "" : "s", sum.cards, sum.cards == 1 ? "" : "s",
                sum.ports, sum.ports == 1 ? "" : "s", sum.card_types,
                sum.card_types == 1 ? "" : "s", sum.chip_ids);
    if (sum.me_set) {
        std::printf("; this card: device %d slot %d", sum.me_dev, sum.me_slot);
    }
    std::printf("\n");
    Result r;
    r.title = "gen";
    r.add_int("cards", sum.cards, Fmt::Dec);
    r.add_int("ports", sum.ports, Fmt::Dec);
    r.add_int("chip_ids", sum.chip_ids, Fmt::Dec);
    set_last(s, r);
    return true;
}

}  // namespace

const std::vector<Command> &query_commands()
{
    static const std::vector<Command> cmds = {
        {"call", cmd_call, "call FUNCTION ARGS... [PARAM=null] [COUNT=N]",
         "calls an exported function and prints its result and every output",
         "  Arguments are numbers or builders: node(1,3) slot_lport(1,3,5) unit_port(1,3,1,10)\n"
         "  mod_port(43,10) dm_phyid(1,3,1,10) lport_phyid(1,10) gslot(2,3) mgmt(1,30,0).\n"
         "  An output never written prints as unset; PARAM=null passes a null pointer;\n"
         "  COUNT=N sets an in/out capacity. Arrays the library allocates are printed and freed.\n"
         "  Example: call dm_get_unit_port_from_phyid slot_lport(1,3,5)"},
        {"show", cmd_show, "show N | show chassis [dev=D] [slot=S] [panels=0|1]",
         "runs the library's debug show command N (6, 9, 10, 11, 12), or draws the chassis",
         "  The picture shows the chassis as described to the library; front panels are\n"
         "  drawn for up to 512 ports unless panels= says otherwise."},
        {"calls", cmd_calls, "calls [TEXT]",
         "lists the exported functions (those containing TEXT, or of family TEXT)",
         "  Answer fields: count, missing (functions the loaded library does not export)."},
        {"gen", cmd_gen,
         "gen [devs=LIST] [slots=LIST] [cards=T|cards=T,SLOTS:T,..] [ports=N] [chips=C] "
         "[chiptype=X]\n"
         "    [ids_per_chip=K] [chipid=N] [speed=10g] [medium=fiber] [node_type=lc] "
         "[me=DEV/SLOT|none]\n"
         "    [ifx=0] [kdev=1]",
         "builds a whole consistent chassis: cards, card and chip types, chip IDs, ports, local "
         "ports",
         "  Defaults: devs=1 slots=1-4 cards=100 ports=48 chips=2 chiptype=10 ids_per_chip=1.\n"
         "  Interface indexes are dev<<20 | slot<<12 | lport (ifx=0: none); lsm_key is the\n"
         "  port's slot_lport_phyid; kdev=1 teaches the kernel-device stand-in the indexes.\n"
         "  This card is me= or, when none is set yet, the first card. 16,384 ports:\n"
         "  gen devs=1-2 slots=0-31 ports=256 chips=8"},
    };
    return cmds;
}

}  // namespace dmsim
