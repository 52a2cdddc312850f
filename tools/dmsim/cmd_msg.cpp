// Commands that send what the data-plane master, the address manager and the
// host's batch synchronisation send the library: every data message in a
// readable form, chip-ID synchronisation, the batch end, the port-validity
// request, and raw bytes for what no readable form covers.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

#include <dm_host_ctl.h>

#include "msgs.h"
#include "session.h"

namespace dmsim {

namespace {

// The host refuses to pass a message on when the library registered no
// handler for it.
bool sent(bool ok, std::string *err)
{
    if (!ok) {
        *err = "the library has no handler registered for this";
    }
    return ok;
}

bool send_msg(int msgid, const std::vector<uint8_t> &payload, std::string *err)
{
    return sent(dm_host_send_msg(msgid, payload.data(), static_cast<int>(payload.size())), err);
}

bool only_options(const Args &a, const char *cmd, std::string *err)
{
    if (!a.pos.empty()) {
        *err = std::string(cmd) + " takes name=value options only ('" + a.pos[0] + "'?)";
        return false;
    }
    return true;
}

std::string hex_of(const std::vector<uint8_t> &b, size_t from, size_t to)
{
    std::string s;
    char buf[4];
    for (size_t i = from; i < to && i < b.size(); ++i) {
        std::snprintf(buf, sizeof buf, "%s%02x", i > from ? " " : "", b[i]);
        s += buf;
    }
    return s;
}

// Sends a request to the library's RPC handler and prints the reply that
// replaces it in the buffer.
bool send_rpc(Session &s, std::vector<uint8_t> req, std::string *err)
{
    size_t len = req.size();
    // The host copies back its request buffer, the reply written over its
    // start: room for the request or the largest reply, whichever is larger.
    req.resize(std::max<size_t>(len, DM_HOST_RPC_REPLY_ROOM), 0);
    int ack_len = -1;
    if (!sent(dm_host_send_rpc(req.data(), static_cast<int>(len), &ack_len), err)) {
        return false;
    }
    Result r;
    r.title = "rpc reply";
    r.add_int("ack_len", ack_len, Fmt::Dec);
    if (ack_len >= 4 && static_cast<size_t>(ack_len) <= req.size()) {
        int32_t result = 0;
        std::memcpy(&result, req.data(), sizeof result);
        std::vector<int> data(req.begin() + 4, req.begin() + ack_len);
        std::printf("  reply: ack_len=%d result=%d data=[%s]\n", ack_len, result,
                    hex_of(req, 4, ack_len).c_str());
        r.add_int("result", result, Fmt::Dec);
        r.add_list("data", data, Fmt::Dec);
    } else {
        std::printf("  no reply (ack_len=%d)\n", ack_len);
    }
    set_last(s, r);
    return true;
}

// The first positional word of a command with subcommands (or "" when there
// is none) and, in *rest, the arguments after it.
std::string subcommand(const Args &a, Args *rest)
{
    *rest = a;
    if (rest->pos.empty()) {
        return "";
    }
    const std::string what = rest->pos.front();
    rest->pos.erase(rest->pos.begin());
    return what;
}

// What the model keeps of a record once the library was sent it.
void enter(Model &m, const dp_lib_card_type_info_t &rec) { m.card_types[rec.card_type] = rec; }
void enter(Model &m, const dp_lib_chip_info_t &rec) { m.chip_types[rec.chip_type] = rec; }
void enter(Model &m, const dp_lib_port_t &rec) { m.apply_port(rec); }

// A command of options only (`cmd`) that sends the record they describe as
// message `msgid` and enters it in the model.
template <class Rec>
bool send_record(Session &s, const Args &a, const char *cmd,
                 bool (*build)(const Args &, Rec *, std::string *), int msgid, std::string *err)
{
    auto rec = std::make_unique<Rec>();  // a card-type record is 2 KiB
    if (!only_options(a, cmd, err) || !build(a, rec.get(), err) ||
        !send_msg(msgid, bytes_of(*rec), err)) {
        return false;
    }
    enter(s.model, *rec);
    return true;
}

bool cmd_cardtype(Session &s, const Args &a, std::string *err)
{
    return send_record(s, a, "cardtype", build_card_type, DP_LIB_MSG_CARD_CFG, err);
}

bool cmd_chiptype(Session &s, const Args &a, std::string *err)
{
    return send_record(s, a, "chiptype", build_chip_type, DP_LIB_MSG_CHIP_CFG, err);
}

bool cmd_port(Session &s, const Args &a, std::string *err)
{
    return send_record(s, a, "port", build_port, DP_LIB_MSG_PORT_INFO, err);
}

bool two_ints(const Args &a, const char *usage, int *x, int *y, std::string *err)
{
    if (a.pos.size() != 2 || !a.opts.empty()) {
        *err = std::string("usage: ") + usage;
        return false;
    }
    return parse_int(a.pos[0], x, err) && parse_int(a.pos[1], y, err);
}

bool cmd_ifx(Session &s, const Args &a, std::string *err)
{
    dp_lib_port_ifx_msg_t msg = {};
    if (!two_ints(a, "ifx DM_PHYID IFX", &msg.phyid, &msg.ifx, err) ||
        !send_msg(DP_LIB_MSG_PORT_IFX, bytes_of(msg), err)) {
        return false;
    }
    s.model.apply_ifx(msg.phyid, msg.ifx);
    return true;
}

bool cmd_rmv(Session &s, const Args &a, std::string *err)
{
    int phyid = 0;
    if (a.pos.size() != 1 || !a.opts.empty()) {
        *err = "usage: rmv DM_PHYID";
        return false;
    }
    if (!parse_int(a.pos[0], &phyid, err) || !send_msg(DP_LIB_MSG_PORT_RMV, bytes_of(phyid), err)) {
        return false;
    }
    s.model.apply_rmv(phyid);
    return true;
}

bool cmd_lport(Session &s, const Args &a, std::string *err)
{
    Args rest;
    const std::string what = subcommand(a, &rest);
    if (what == "add" && rest.pos.empty()) {
        dp_lib_lport_t rec;
        if (!build_lport(rest, &rec, err)) {
            return false;
        }
        s.model.pending_lports.push_back(rec);
        return true;
    }
    if (what == "card" && rest.pos.empty()) {
        int type = 0;
        int medium = PORT_MEDIUM_FIBER;
        int ptype = PORT_TGIGABIT_ETHERNET;
        if (!rest.only({"type", "medium", "speed"}, err) || !rest.need("type", &type, err) ||
            (rest.has("medium") && !parse_medium(*rest.opt("medium"), &medium, err)) ||
            (rest.has("speed") && !parse_port_type(*rest.opt("speed"), &ptype, err))) {
            return false;
        }
        auto it = s.model.card_types.find(type);
        if (it == s.model.card_types.end()) {
            *err =
                "card type " + std::to_string(type) + " has not been described (cardtype or gen)";
            return false;
        }
        // Lports already added (with a split description, say) stay as they are.
        for (const dp_lib_lport_t &l : lports_of_card_type(it->second, medium, ptype)) {
            bool added = false;
            for (const dp_lib_lport_t &p : s.model.pending_lports) {
                added = added || p.lport == l.lport;
            }
            if (!added) {
                s.model.pending_lports.push_back(l);
            }
        }
        return true;
    }
    if (what == "send" && rest.pos.empty()) {
        int count = static_cast<int>(s.model.pending_lports.size());
        if (rest.has("count") && !parse_int(*rest.opt("count"), &count, err)) {
            return false;
        }
        if (!send_msg(DP_LIB_MSG_MY_LPORT_CFG, lport_payload(s.model.pending_lports, count), err)) {
            return false;
        }
        s.model.my_lports = s.model.pending_lports;
        s.model.pending_lports.clear();
        return true;
    }
    if (what == "clear" && rest.pos.empty() && rest.opts.empty()) {
        s.model.pending_lports.clear();
        return true;
    }
    *err = "usage: lport add ... | lport card type=T | lport send [count=N] | lport clear";
    return false;
}

bool cmd_mgmt(Session &s, const Args &a, std::string *err)
{
    dp_lib_phy_mgmt_ifx_msg_t rec;
    if (!only_options(a, "mgmt", err) || !build_mgmt(a, &rec, err) ||
        !send_msg(DP_LIB_MSG_PHY_MGMT_IFX, bytes_of(rec), err)) {
        return false;
    }
    if (rec.dev_id >= 1 && rec.dev_id <= 2 && rec.lport >= 0 && rec.lport <= 1) {
        s.model.mgmt_ifx[rec.dev_id][rec.lport] = rec.ifx;
    }
    return true;
}

bool cmd_preinst(Session &, const Args &a, std::string *err)
{
    auto rec = std::make_unique<dp_lib_per_inst_info_t>();
    return build_preinst(a, rec.get(), err) &&
           send_msg(DP_LIB_MSG_PORT_PRE_INST_DONE, bytes_of(*rec), err);
}

bool cmd_fc(Session &, const Args &a, std::string *err)
{
    const char *usage =
        "usage: fc start|save begin N | chunk MIN MAX [PHYID:TYPE ...] | over | list [PHYID:TYPE "
        "...]";
    if (a.pos.size() < 2 || (a.pos[0] != "start" && a.pos[0] != "save") || !a.opts.empty()) {
        *err = usage;
        return false;
    }
    bool start = a.pos[0] == "start";
    const int begin_id = start ? DP_LIB_MSG_FC_START_CFG_BEGIN : DP_LIB_MSG_FC_SAVE_CFG_BEGIN;
    const int chunk_id = start ? DP_LIB_MSG_FC_START_CFG : DP_LIB_MSG_FC_SAVE_CFG;
    const int over_id = start ? DP_LIB_MSG_FC_START_CFG_OVER : DP_LIB_MSG_FC_SAVE_CFG_OVER;
    const std::string &what = a.pos[1];
    std::vector<std::string> rest(a.pos.begin() + 2, a.pos.end());
    if (what == "begin" && rest.size() == 1) {
        int n = 0;
        return parse_int(rest[0], &n, err) && send_msg(begin_id, bytes_of(n), err);
    }
    if (what == "over" && rest.empty()) {
        return send_msg(over_id, {}, err);
    }
    std::vector<dm_convert_cfg_t> entries;
    if (what == "chunk" && rest.size() >= 2) {
        int lo = 0;
        int hi = 0;
        return parse_int(rest[0], &lo, err) && parse_int(rest[1], &hi, err) &&
               build_fc_entries(std::vector<std::string>(rest.begin() + 2, rest.end()), &entries,
                                err) &&
               send_msg(chunk_id, fc_chunk(lo, hi, entries), err);
    }
    if (what == "list") {
        if (!build_fc_entries(rest, &entries, err)) {
            return false;
        }
        int n = static_cast<int>(entries.size());
        if (!send_msg(begin_id, bytes_of(n), err)) {
            return false;
        }
        if (n > 0 && !send_msg(chunk_id, fc_chunk(0, n - 1, entries), err)) {
            return false;
        }
        return send_msg(over_id, {}, err);
    }
    *err = usage;
    return false;
}

bool cmd_chipid(Session &s, const Args &a, std::string *err)
{
    Args rest;
    const std::string what = subcommand(a, &rest);
    chipid_slot_t rec;
    if (what == "add" && rest.pos.empty()) {
        if (!build_chipid(rest, &rec, err)) {
            return false;
        }
        s.model.pending_chipids.push_back(rec);
        return true;
    }
    if (what == "batch" && rest.pos.empty() && rest.unknown({"type"}).empty()) {
        // type= sends the records under another kind of synchronisation
        // data (real, or a number), which the library may refuse.
        int type = ADDR_LIB_BS_SYNC;
        if (const std::string *t = rest.opt("type")) {
            if (*t == "real" || *t == "bs") {
                type = *t == "real" ? ADDR_LIB_REAL_SYNC : ADDR_LIB_BS_SYNC;
            } else if (!parse_int(*t, &type, err)) {
                return false;
            }
        }
        std::vector<uint8_t> data = addr_sync(type, s.model.pending_chipids);
        if (!sent(dm_host_addr_data(data.data(), static_cast<int>(data.size())), err)) {
            return false;
        }
        for (const chipid_slot_t &r : s.model.pending_chipids) {
            if (type == ADDR_LIB_BS_SYNC) {
                s.model.apply_chipid(r);
            }
        }
        s.model.pending_chipids.clear();
        return true;
    }
    if ((what == "real" || what == "release") && rest.pos.empty()) {
        if (what == "release") {
            rest.opts.emplace_back("status", "none");
        }
        if (!build_chipid(rest, &rec, err)) {
            return false;
        }
        std::vector<uint8_t> data = addr_sync(ADDR_LIB_REAL_SYNC, {rec});
        if (!sent(dm_host_addr_data(data.data(), static_cast<int>(data.size())), err)) {
            return false;
        }
        s.model.apply_chipid(rec);
        return true;
    }
    *err =
        "usage: chipid add ... | chipid batch [type=bs|real|N] | chipid real ... | chipid release "
        "dev=D slot=S";
    return false;
}

bool cmd_batch(Session &s, const Args &a, std::string *err)
{
    int flag = 0;
    if (a.pos.size() != 1 || !a.opts.empty()) {
        *err = "usage: batch over|begin|N";
        return false;
    }
    if (a.pos[0] == "over" || a.pos[0] == "begin") {
        flag = a.pos[0] == "over" ? SYNC_BATCH_OVER : SYNC_BATCH_BEGIN;
    } else if (!parse_int(a.pos[0], &flag, err)) {
        return false;
    }
    dm_host_batch_steps_clear();
    if (!sent(dm_host_batch(flag), err)) {
        return false;
    }
    char steps[1024] = {};
    Result r;
    r.title = "batch";
    r.add_int("steps", dm_host_batch_steps(steps, sizeof steps), Fmt::Dec);
    set_last(s, r);
    return true;
}

bool cmd_portvalid(Session &s, const Args &a, std::string *err)
{
    dm_port_valid_t v = {};
    int valid = 1;
    if (!only_options(a, "portvalid", err) || !a.only({"node", "lport", "valid"}, err) ||
        !a.need("node", &v.node, err) || !a.need("lport", &v.lport, err) ||
        !a.get("valid", &valid, err)) {
        return false;
    }
    v.valid = static_cast<uint8_t>(valid);
    std::printf("port-validity request node=%s lport=%d valid=%d\n",
                hex32(static_cast<unsigned>(v.node)).c_str(), v.lport, v.valid);
    return send_rpc(s, dp_message(DP_LIB_MSG_PORT_VALID, DP_LIB_MOD_PD, bytes_of(v)), err);
}

bool cmd_raw(Session &s, const Args &a, std::string *err)
{
    const char *usage =
        "usage: raw data MSGID HEX.. | raw buf HEX.. | raw rpc HEX.. | raw addr HEX..";
    if (a.pos.empty() || !a.opts.empty()) {
        *err = usage;
        return false;
    }
    const std::string &what = a.pos[0];
    size_t first = what == "data" ? 2 : 1;
    std::vector<uint8_t> bytes;
    int msgid = 0;
    if ((what == "data" && (a.pos.size() < 2 || !parse_int(a.pos[1], &msgid, err))) ||
        !parse_hex_bytes(
            std::vector<std::string>(a.pos.begin() + std::min(first, a.pos.size()), a.pos.end()),
            &bytes, err)) {
        if (err->empty()) {
            *err = usage;
        }
        return false;
    }
    if (what == "data") {
        return send_msg(msgid, bytes, err);
    }
    if (what == "buf") {
        return sent(dm_host_send_data(bytes.data(), static_cast<int>(bytes.size())), err);
    }
    if (what == "addr") {
        return sent(dm_host_addr_data(bytes.data(), static_cast<int>(bytes.size())), err);
    }
    if (what == "rpc") {
        std::printf("raw request of %zu bytes\n", bytes.size());
        return send_rpc(s, bytes, err);
    }
    *err = usage;
    return false;
}

}  // namespace

const std::vector<Command> &message_commands()
{
    static const std::vector<Command> cmds = {
        {"cardtype", cmd_cardtype,
         "cardtype type=T [name=S] [ports=N] [chips=C] [chiptype=X|chiptypes=a,b] [lports=LIST] "
         "[per_unit=K]\n"
         "         [cport=P] [poe=0|1] [poe_lports=LIST] [node_type=lc] [map=L:U:P,..] "
         "[relate=M:A-B,..]",
         "sends a card-type record (message 3)",
         "  The lports (default 1..ports) go to the units in turn, per_unit each (default an\n"
         "  even share), at chip ports from cport (default 1) up; map= sets single lports\n"
         "  (unit -1 removes one). Example: cardtype type=100 name=LC8 ports=8 chips=2 "
         "chiptype=10"},
        {"chiptype", cmd_chiptype, "chiptype type=X [family=F] [invalid=P] [cmic=P]",
         "sends a chip-type record (message 4)", ""},
        {"port", cmd_port,
         "port dev=D slot=S lport=L unit=U cport=P [ifx=I] [chipid=G] [sslot=X] [node=N] "
         "[type=10g]\n"
         "     [medium=fiber|copper|combo] [switch=0|1] [poe=0|1] [lsm_key=K] [lsm_slot=S] "
         "[lsm_port=P]\n"
         "     [subcard=N] [phyid=P] [ss_phyid=P] [parent=1 modes=ID:N,.. def=ID children=LIST]",
         "sends a port record (message 0)",
         "  phyid (the port-table key) and ss_phyid are built from dev/slot/unit/cport and\n"
         "  dev/slot/lport; lsm_key defaults to ss_phyid, lsm_slot/lsm_port to slot/lport.\n"
         "  Example: port dev=1 slot=3 lport=5 unit=1 cport=10 ifx=0x1005 chipid=43"},
        {"ifx", cmd_ifx, "ifx DM_PHYID IFX", "sends an interface-index change (message 1)",
         "  Example: ifx dm_phyid(1,3,1,10) 0x2005"},
        {"rmv", cmd_rmv, "rmv DM_PHYID", "sends a port removal (message 2)",
         "  Example: rmv dm_phyid(1,3,1,10)"},
        {"lport", cmd_lport,
         "lport add lport=L unit=U cport=P [key=K] [medium=..] [type=..] [split options] | lport "
         "card type=T\n"
         "      [medium=..] [speed=..] | lport send [count=N] | lport clear",
         "puts this card's local port list together and sends it (message 5)",
         "  'lport card' adds every lport of a described card type not added yet; count=\n"
         "  overrides the count in the message. Example: lport card type=100, then lport send"},
        {"mgmt", cmd_mgmt, "mgmt dev=D lport=L ifx=I [mode=M]",
         "sends a management-port interface index (message 7)", ""},
        {"fc", cmd_fc,
         "fc start|save begin N | chunk MIN MAX [PHYID:TYPE ..] | over | list [PHYID:TYPE ..]",
         "sends a port-conversion transfer (messages 8-10 startup, 11-13 saved)",
         "  'list' sends begin, one chunk and over. TYPE is a port type (fc, 10g, ...).\n"
         "  Example: fc start list slot_lport(1,1,1):fc slot_lport(1,1,2):fc"},
        {"preinst", cmd_preinst, "preinst [DEV/SLOT/SSLOT ...] [len=N]",
         "sends the pre-installed card list (message 15)", "  Example: preinst 1/2/0 2/1/0"},
        {"chipid", cmd_chipid,
         "chipid add|real (dev=D slot=S [sslot=X] | gslot=G) ids=LIST [per_unit=K] [card=T]\n"
         "       [status=valid|none|limit|N] [id_num=N] | chipid batch [type=bs|real|N]\n"
         "       | chipid release dev=D slot=S",
         "chip-ID synchronisation from the address manager: batch ('add' then 'batch') or real "
         "time",
         "  Example: chipid real dev=1 slot=3 ids=43,44 per_unit=1 card=100"},
        {"batch", cmd_batch, "batch over|begin|N",
         "the host's batch-synchronisation callback (over: the batch end)",
         "  Answer field: steps (host steps called)."},
        {"portvalid", cmd_portvalid, "portvalid node=N lport=L [valid=0|1]",
         "sends the port-validity request (message 6) and prints the reply",
         "  Answer fields: ack_len, result, data."},
        {"raw", cmd_raw, "raw data MSGID HEX.. | raw buf HEX.. | raw rpc HEX.. | raw addr HEX..",
         "raw bytes: a payload with a header added, a whole data buffer, a request, chip-ID data",
         "  Example: raw data 2 0a 32 00 01   (a removal, payload given byte by byte)"},
    };
    return cmds;
}

}  // namespace dmsim
