// Commands that set what the host stand-in answers and show what the
// application and the host observed: this card and the cards present, the
// initial-synchronisation flag, the debug level, the kernel device, the RPC
// reply, the events received and the host's log file.
#include <cstdio>
#include <cstring>

#include <dm_host_ctl.h>
#include <nlohmann/json.hpp>
#include <dm_lib_pd/dm_ids.h>

#include "app.h"
#include "json_out.h"
#include "session.h"
#include "workdir.h"

namespace dmsim {

namespace {

// dev=D slot=S [sslot=X], or node=N.
bool get_node(const Args &a, int *node, std::string *err)
{
    if (a.has("node")) {
        return a.need("node", node, err);
    }
    int dev = 0;
    int slot = 0;
    int sslot = 0;
    if (!a.need("dev", &dev, err) || !a.need("slot", &slot, err) || !a.get("sslot", &sslot, err)) {
        return false;
    }
    *node = node_of(dev, slot, sslot);
    return true;
}

bool on_off(const Args &a, bool *v, std::string *err)
{
    if (a.pos.size() == 1 && (a.pos[0] == "on" || a.pos[0] == "off")) {
        *v = a.pos[0] == "on";
        return true;
    }
    *err = "want on or off";
    return false;
}

bool cmd_me(Session &s, const Args &a, std::string *err)
{
    if (a.pos.size() == 1 && (a.pos[0] == "fail" || a.pos[0] == "ok")) {
        dm_host_set_my_card_type_fails(a.pos[0] == "fail");
        return true;
    }
    if (a.pos.empty() && a.opts.empty()) {
        const Me &me = s.model.me;
        if (!me.known) {
            std::printf("this card: not set\n");
        } else {
            std::printf(
                "this card: node %s (device %d slot %d), lslotid %d, card type %d, node type "
                "%s\n",
                hex32(static_cast<unsigned>(me.node)).c_str(), dm_node_devid(me.node),
                dm_node_lslot(me.node), me.lslotid, me.card_type, node_type_name(me.node_type));
        }
        return true;
    }
    if (!a.pos.empty() || !a.only({"dev", "slot", "sslot", "node", "card", "node_type"}, err)) {
        if (err->empty()) {
            *err = "me takes name=value options, or fail / ok";
        }
        return false;
    }
    Me me;
    me.known = true;
    me.node_type = DM_TYPE_LC;
    if (!get_node(a, &me.node, err) || !a.need("card", &me.card_type, err)) {
        return false;
    }
    if (const std::string *nt = a.opt("node_type")) {
        if (!parse_node_type(*nt, &me.node_type, err)) {
            return false;
        }
    }
    me.lslotid = dm_get_gslot_from_phyid(me.node);
    dm_host_set_my_card(me.node, me.lslotid, me.card_type, me.node_type);
    // This card is also one of the cards present.
    dm_host_set_card(me.node, me.card_type, me.card_type, me.node_type);
    s.model.me = me;
    s.model.apply_card({me.node, me.card_type, me.card_type, me.node_type});
    return true;
}

bool cmd_card(Session &s, const Args &a, std::string *err)
{
    int node = 0;
    if (a.pos.size() == 1 && a.pos[0] == "remove") {
        if (!a.only({"dev", "slot", "sslot", "node"}, err) || !get_node(a, &node, err)) {
            return false;
        }
        dm_host_remove_card(node);
        s.model.cards.erase(node);
        return true;
    }
    if (!a.pos.empty()) {
        *err = "card takes name=value options, or remove";
        return false;
    }
    Card c;
    c.node_type = DM_TYPE_LC;
    if (!a.only({"dev", "slot", "sslot", "node", "type", "cfg", "node_type"}, err) ||
        !get_node(a, &c.node, err) || !a.need("type", &c.phy_type, err)) {
        return false;
    }
    c.cfg_type = c.phy_type;
    if (!a.get("cfg", &c.cfg_type, err)) {
        return false;
    }
    if (const std::string *nt = a.opt("node_type")) {
        if (!parse_node_type(*nt, &c.node_type, err)) {
            return false;
        }
    }
    dm_host_set_card(c.node, c.phy_type, c.cfg_type, c.node_type);
    s.model.apply_card(c);
    return true;
}

bool cmd_bsover(Session &, const Args &a, std::string *err)
{
    bool on = false;
    if (!on_off(a, &on, err)) {
        return false;
    }
    dm_host_set_bs_over(on);
    return true;
}

bool cmd_debug(Session &, const Args &a, std::string *err)
{
    int level = 0;
    if (a.pos.size() != 1 || !a.opts.empty()) {
        *err = "usage: debug verbose|detail|warn|error|silent|0-4";
        return false;
    }
    if (!parse_debug_level(a.pos[0], &level, err)) {
        return false;
    }
    dm_host_set_dbg_level(level);
    return true;
}

bool cmd_libname(Session &, const Args &a, std::string *err)
{
    if (a.pos.size() != 1 || a.pos[0].size() > 63) {
        *err = "usage: libname NAME (at most 63 characters)";
        return false;
    }
    dm_host_set_lib_name(a.pos[0].c_str());
    return true;
}

bool cmd_option(Session &, const Args &a, std::string *err)
{
    if (a.pos.empty()) {
        *err = "usage: option TEXT";
        return false;
    }
    std::string text;
    for (const std::string &w : a.pos) {
        text += (text.empty() ? "" : " ") + w;
    }
    for (const auto &o : a.opts) {
        text += (text.empty() ? "" : " ") + o.first + "=" + o.second;
    }
    dm_host_run_dbg_init(text.c_str());
    return true;
}

bool cmd_kdev(Session &, const Args &a, std::string *err)
{
    if (a.pos.empty()) {
        std::printf("kernel device: file tmp/dm_dev %s, %lu requests answered\n",
                    workdir_dev_file() ? "present" : "absent", dm_host_kdev_requests());
        return true;
    }
    const std::string &what = a.pos[0];
    if (what == "attach" || what == "detach") {
        dm_host_kdev_attach(what == "attach");
        return true;
    }
    if (what == "clear") {
        dm_host_kdev_clear();
        return true;
    }
    if (what == "file" && a.pos.size() == 2 && (a.pos[1] == "on" || a.pos[1] == "off")) {
        return workdir_set_dev_file(a.pos[1] == "on", err);
    }
    if (what == "ifx" && a.pos.size() == 1) {
        int key = 0;
        int llcb = 0;
        int ifx = 0;
        if (!a.only({"lsm_key", "llcb", "ifx"}, err) || !a.need("lsm_key", &key, err) ||
            !a.need("ifx", &ifx, err)) {
            return false;
        }
        if (!a.has("llcb")) {
            *err = "missing llcb= (a link-layer type: a number, or 10g, 40g, ...)";
            return false;
        }
        if (!parse_llcb_type(*a.opt("llcb"), &llcb, err)) {
            return false;
        }
        dm_host_kdev_set_ifx(key, llcb, ifx);
        return true;
    }
    if (what == "key" && a.pos.size() == 1) {
        int key = 0;
        int ifx = 0;
        if (!a.only({"lsm_key", "ifx"}, err) || !a.need("ifx", &ifx, err) ||
            !a.need("lsm_key", &key, err)) {
            return false;
        }
        dm_host_kdev_set_lsm_key(ifx, key);
        return true;
    }
    *err =
        "usage: kdev [attach|detach|clear|file on|off|ifx lsm_key=K llcb=T ifx=I|key ifx=I "
        "lsm_key=K]";
    return false;
}

bool cmd_rpc(Session &s, const Args &a, std::string *err)
{
    if (a.pos.empty() && a.opts.empty()) {
        std::printf("rpc reply: %s\n", app_rpc_reply_text().c_str());
        Result r;
        r.title = "rpc";
        std::vector<AppRequest> reqs = app_take_requests();
        for (const AppRequest &q : reqs) {
            std::printf("  answered: %s -> %d, length %d\n",
                        describe_event(q.msg_id, q.data).c_str(), q.result, q.reply_len);
        }
        r.add_int("count", static_cast<int>(reqs.size()), Fmt::Dec);
        set_last(s, r);
        return true;
    }
    if (a.pos.size() < 2 || a.pos[0] != "reply") {
        *err = "usage: rpc [reply RESULT [HEX BYTES] [len=N]]";
        return false;
    }
    int result = 0;
    int len = -1;
    std::vector<uint8_t> bytes;
    if (!a.only({"len"}, err) || !parse_int(a.pos[1], &result, err) || !a.get("len", &len, err) ||
        !parse_hex_bytes(std::vector<std::string>(a.pos.begin() + 2, a.pos.end()), &bytes, err)) {
        return false;
    }
    dmstandin::app_set_rpc_reply({result, bytes, len});
    return true;
}

bool cmd_events(Session &s, const Args &a, std::string *err)
{
    if (!a.pos.empty() || !a.opts.empty()) {
        *err = "events takes no arguments";
        return false;
    }
    std::vector<AppEvent> evs = app_take_events(2000);
    Result r;
    r.title = "events";
    std::vector<int> ids;
    std::vector<int> chipids;
    std::vector<int> nodes;
    std::vector<int> units;
    const bool json = json_active();
    if (json) {
        s.emitted = true;
        json_emit({{"cmd", "events"}, {"count", evs.size()}});
    } else {
        std::printf("events: %zu\n", evs.size());
    }
    for (const AppEvent &e : evs) {
        if (json) {
            Result d = decode_event(e.msg_id, e.data);
            Json obj = {{"cmd", "event"}, {"id", e.msg_id}, {"name", d.title}};
            Json payload = json_of_result(d);
            obj["data"] = payload["out"];
            if (payload.contains("decoded")) {
                obj["decoded"] = payload["decoded"];
            }
            json_emit(obj);
        } else {
            std::printf("  %d %s\n", e.msg_id, describe_event(e.msg_id, e.data).c_str());
        }
        ids.push_back(e.msg_id);
        if (e.msg_id == DEV_MSG_CHIPIP_ALLOC && e.data.size() >= sizeof(dm_chipid_alloc_t)) {
            dm_chipid_alloc_t c;
            std::memcpy(&c, e.data.data(), sizeof c);
            chipids.push_back(c.chipid);
            nodes.push_back(c.node);
            units.push_back(c.unit);
        }
    }
    r.add_int("count", static_cast<int>(evs.size()), Fmt::Dec);
    r.add_list("ids", ids, Fmt::Dec);
    r.add_list("chipids", chipids, Fmt::Dec);
    r.add_list("nodes", nodes, Fmt::Hex);
    r.add_list("units", units, Fmt::Dec);
    set_last(s, r);
    return true;
}

bool cmd_log(Session &s, const Args &a, std::string *err)
{
    if (a.pos.size() == 1 && a.pos[0] == "clear") {
        dm_host_log_clear();
        s.log_seen = 0;
        return true;
    }
    if (a.pos.size() == 1 && a.pos[0] == "file" && a.has("path")) {
        dm_host_log_set_path(user_path(*a.opt("path")).c_str());
        return true;
    }
    if (!a.pos.empty() || !a.opts.empty()) {
        *err = "usage: log [clear | file path=PATH]";
        return false;
    }
    int n = dm_host_log_count();
    if (n < s.log_seen) {
        s.log_seen = 0;  // cleared elsewhere
    }
    Result r;
    r.title = "log";
    std::string text;
    std::printf("log: %d new line%s\n", n - s.log_seen, n - s.log_seen == 1 ? "" : "s");
    for (int i = s.log_seen; i < n; ++i) {
        char line[1024];
        if (dm_host_log_line(i, line, sizeof line)) {
            std::printf("  %s\n", line);
            text += std::string(line) + "\n";
        }
    }
    r.add_int("count", n - s.log_seen, Fmt::Dec);
    r.add_str("text", text);
    s.log_seen = n;
    set_last(s, r);
    return true;
}

}  // namespace

const std::vector<Command> &host_commands()
{
    static const std::vector<Command> cmds = {
        {"me", cmd_me, "me dev=D slot=S [sslot=X] card=T [node_type=lc] | me fail | me ok | me",
         "this card: its node, slot and card type as the host reports them",
         "  The card is also entered as present. 'me fail' makes the host's\n"
         "  dm_get_my_card_type fail, 'me ok' undoes it. Example: me dev=1 slot=3 card=100"},
        {"card", cmd_card,
         "card dev=D slot=S [sslot=X] type=T [cfg=T] [node_type=lc] | card remove dev=D slot=S",
         "a card present in the chassis (node=N may replace dev/slot/sslot)",
         "  type is the card type present, cfg the one configured (default: the same).\n"
         "  Example: card dev=1 slot=30 type=200 node_type=mb"},
        {"bsover", cmd_bsover, "bsover on|off",
         "whether the host reports the initial synchronisation over", ""},
        {"debug", cmd_debug, "debug verbose|detail|warn|error|silent|0-4",
         "the host's debug level: which library diagnostics are printed (default silent)", ""},
        {"libname", cmd_libname, "libname NAME", "the host's library name (prefix of diagnostics)",
         ""},
        {"option", cmd_option, "option TEXT", "hands TEXT to the library's debug-option parser",
         "  Example: option \"fcdbg 0\" (the port-conversion messages at verbose level)"},
        {"kdev", cmd_kdev,
         "kdev [attach | detach | clear | file on|off | ifx lsm_key=K llcb=T ifx=I | key ifx=I "
         "lsm_key=K]",
         "the kernel-device stand-in behind tmp/dm_dev (attached, with the file present, at start)",
         "  ifx: the interface index the driver gives for an interface-manager key and\n"
         "  link-layer type (llcb=10g means the type of a 10G port); key: the other way.\n"
         "  Example: kdev ifx lsm_key=slot_lport(1,3,5) llcb=10g ifx=0x5005"},
        {"rpc", cmd_rpc, "rpc [reply RESULT [HEX BYTES] [len=N]]",
         "what the application's RPC handler answers; alone: the setting and the requests answered",
         "  len= makes the handler report a length other than the bytes it wrote.\n"
         "  Example: rpc reply 0 01 00 00 00"},
        {"events", cmd_events, "events",
         "prints the device events the application received since the last 'events', decoded",
         "  Waits until every event raised so far has been delivered. Answer fields:\n"
         "  count, ids, and chipids/nodes/units of the chip-ID allocation events."},
        {"log", cmd_log, "log [clear | file path=PATH]",
         "prints the host log-file lines written since the last 'log'",
         "  Answer fields: count, text (for expect text~\"...\")."},
    };
    return cmds;
}

}  // namespace dmsim
