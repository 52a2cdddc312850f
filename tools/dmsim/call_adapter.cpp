// The call adapter's untyped part: parameter decls, inputs and options,
// output storage, the title and the outputs as named fields.
#include "call_adapter.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace dmsim::call_adapter {

namespace {

// Output storage starts with these values, so a value the function did not
// write shows as "unset".
constexpr int kUnsetInt = 0x5A5A5A5A;
constexpr unsigned char kUnsetByte = 0xA5;
// Caller arrays and buffers are never larger than this.
constexpr long long kMaxEntries = 65536;
void *g_event_handler = nullptr;
void *g_rpc_handler = nullptr;

size_t record_size(PKind k)
{
    switch (k) {
    case PKind::BoolOut:
        return 1;
    case PKind::PortRec:
        return sizeof(dm_port_t);
    case PKind::LportRec:
        return sizeof(dp_lib_lport_t);
    case PKind::CardRec:
        return sizeof(dp_lib_card_type_info_t);
    case PKind::AllocArr:
        return sizeof(dm_chipid_alloc_t);
    default:
        return 1;
    }
}

bool is_input(PKind k) { return k == PKind::In || k == PKind::EventFn || k == PKind::RpcFn; }

ParamDecl parse_param_decl(const char *text)
{
    ParamDecl s;
    std::string t = text;
    size_t eq = t.find('=');
    size_t br = t.find('[');
    if (eq != std::string::npos) {
        s.name = t.substr(0, eq);
        s.has_default = true;
        s.def = std::atoi(t.c_str() + eq + 1);
    } else if (br != std::string::npos) {
        s.name = t.substr(0, br);
        s.bracket = true;
        std::string inner = t.substr(br + 1, t.size() - br - 2);
        size_t slash = inner.find('/');
        if (slash != std::string::npos) {
            s.size = std::atoll(inner.substr(0, slash).c_str());
            s.cnt = inner.substr(slash + 1);
        } else {
            s.cnt = inner;
        }
    } else {
        s.name = t;
    }
    return s;
}

// The entries of a caller array, as far as its storage goes.
size_t capacity(const Slot &s)
{
    if (s.kind == PKind::IntOut) {
        return s.ints.size();
    }
    return s.bytes.size() / record_size(s.kind);
}

int slot_index(const std::vector<Slot> &slots, const std::string &name)
{
    for (size_t i = 0; i < slots.size(); ++i) {
        if (slots[i].decl.name == name) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

// Inputs from the positional words, in order; handlers as "app" or "null".
bool read_inputs(const CallEntry &e, const Args &args, std::vector<Slot> &slots, std::string *err)
{
    size_t required = 0;
    size_t inputs = 0;
    for (const Slot &s : slots) {
        if (is_input(s.kind)) {
            ++inputs;
            required += s.decl.has_default ? 0 : 1;
        }
    }
    if (args.pos.size() < required || args.pos.size() > inputs) {
        *err = "usage: " + call_usage(e);
        return false;
    }
    size_t next = 0;
    for (Slot &s : slots) {
        if (!is_input(s.kind) || next >= args.pos.size()) {
            continue;
        }
        const std::string &w = args.pos[next++];
        s.given = true;
        if (s.kind != PKind::In) {
            if (w != "app" && w != "null") {
                *err = s.decl.name + " is a handler: app or null";
                return false;
            }
            s.in = w == "app" ? 1 : 0;
            continue;
        }
        int v = 0;
        if (!parse_int(w, &v, err)) {
            return false;
        }
        s.in = v;
    }
    return true;
}

// name=null for any pointer; name=V for an in/out count or an input that
// has a default.
bool read_options(const CallEntry &e, const Args &args, std::vector<Slot> &slots, std::string *err)
{
    for (const auto &o : args.opts) {
        int i = slot_index(slots, o.first);
        if (i < 0) {
            *err = "no parameter named '" + o.first + "'; usage: " + call_usage(e);
            return false;
        }
        Slot &s = slots[static_cast<size_t>(i)];
        if (o.second == "null" && !is_input(s.kind)) {
            s.null = true;
            continue;
        }
        if (s.kind != PKind::In && !(s.kind == PKind::IntOut && s.decl.has_default)) {
            *err = o.first + "= takes only null";
            return false;
        }
        int v = 0;
        if (!parse_int(o.second, &v, err)) {
            return false;
        }
        s.in = v;
        s.given = true;
    }
    return true;
}

// Entries of a caller array: its decl's size, or more when the count it is
// tied to announces a larger capacity.
bool array_entries(const std::vector<Slot> &slots, const Slot &s, long long *entries,
                   std::string *err)
{
    *entries = s.decl.size;
    int tie = slot_index(slots, s.decl.cnt);
    if (tie >= 0 && slots[static_cast<size_t>(tie)].decl.has_default &&
        slots[static_cast<size_t>(tie)].in > *entries) {
        *entries = slots[static_cast<size_t>(tie)].in;
    }
    if (*entries > kMaxEntries) {
        *err = "arrays are limited to " + std::to_string(kMaxEntries) + " entries here";
        return false;
    }
    return true;
}

// Output storage, filled with the unset pattern.
bool size_outputs(std::vector<Slot> &slots, std::string *err)
{
    for (Slot &s : slots) {
        long long entries = 1;
        if (s.decl.bracket && (s.kind == PKind::IntOut || s.kind == PKind::AllocArr) &&
            !array_entries(slots, s, &entries, err)) {
            return false;
        }
        switch (s.kind) {
        case PKind::IntOut:
            s.ints.assign(static_cast<size_t>(entries), kUnsetInt);
            if (s.decl.has_default) {
                s.ints[0] = static_cast<int>(s.in);
            }
            break;
        case PKind::BoolOut:
        case PKind::PortRec:
        case PKind::LportRec:
        case PKind::CardRec:
        case PKind::AllocArr:
            s.bytes.assign(record_size(s.kind) * static_cast<size_t>(entries), kUnsetByte);
            break;
        case PKind::CharBuf: {
            int len_at = slot_index(slots, s.decl.cnt);
            long long len = len_at >= 0 ? slots[static_cast<size_t>(len_at)].in : 0;
            if (len > kMaxEntries) {
                *err = "buffers are limited to " + std::to_string(kMaxEntries) + " bytes here";
                return false;
            }
            // Exactly the size the function is told, so that a write past it
            // shows under the sanitizers; at least one byte to look at.
            s.bytes.assign(static_cast<size_t>(len > 0 ? len : 1), kUnsetByte);
            break;
        }
        default:
            break;
        }
    }
    return true;
}

// Reads the words into the slots and sizes the output storage.
bool prepare(const CallEntry &e, const PKind *kinds, size_t n, const Args &args,
             std::vector<Slot> &slots, std::string *err)
{
    if (e.params.size() != n) {
        *err = "call table entry of " + std::string(e.name) + " does not match its declaration";
        return false;
    }
    for (size_t i = 0; i < n; ++i) {
        slots[i].kind = kinds[i];
        slots[i].decl = parse_param_decl(e.params[i]);
        slots[i].in = slots[i].decl.def;
    }
    return read_inputs(e, args, slots, err) && read_options(e, args, slots, err) &&
           size_outputs(slots, err);
}

// The title "fn(0x06010305, app)" and the inputs as fields.
void start_result(const CallEntry &e, const std::vector<Slot> &slots, Result *out)
{
    out->clear();
    out->fn = e.name;
    std::string t = std::string(e.name) + "(";
    bool first = true;
    for (const Slot &s : slots) {
        std::string part;
        if (s.kind == PKind::In) {
            Field arg;
            arg.name = s.decl.name;
            arg.num = static_cast<int>(s.in);
            arg.fmt = fmt_for_name(s.decl.name);
            out->args.push_back(arg);
            if (s.decl.has_default && !s.given) {
                continue;  // a default the caller did not change
            }
            part = format_int(arg.num, arg.fmt);
        } else if (s.kind == PKind::EventFn || s.kind == PKind::RpcFn) {
            part = s.in != 0 ? "app" : "null";
            Field arg;
            arg.name = s.decl.name;
            arg.kind = Field::Kind::Str;
            arg.str = part;
            out->args.push_back(arg);
        } else if (s.null) {
            part = s.decl.name + "=null";
        } else if (s.kind == PKind::IntOut && s.decl.has_default && s.given) {
            part = s.decl.name + "=" + std::to_string(s.in);
        } else {
            continue;
        }
        t += (first ? "" : ", ") + part;
        first = false;
    }
    out->title = t + ")";
}

// How many entries of an array to print, from its decl's count.
long long printed_count(const std::vector<Slot> &slots, size_t i, bool has_ret, int ret,
                        int depth = 0)
{
    const Slot &s = slots[i];
    const std::string &cnt = s.decl.cnt;
    long long c = 0;
    if (cnt == "ret") {
        c = has_ret ? ret : 0;
    } else if (!cnt.empty() && (std::isdigit(static_cast<unsigned char>(cnt[0])))) {
        c = std::atoll(cnt.c_str());
    } else if (!cnt.empty() && cnt[0] == '+' && depth == 0) {
        int j = slot_index(slots, cnt.substr(1));
        if (j >= 0 && !slots[j].null) {
            long long m = printed_count(slots, static_cast<size_t>(j), has_ret, ret, depth + 1);
            for (long long k = 0; k < m; ++k) {
                int v = slots[j].ints[static_cast<size_t>(k)];
                c += (v != kUnsetInt && v > 0) ? v : 0;
            }
        }
    } else {
        int j = slot_index(slots, cnt);
        if (j >= 0) {
            const Slot &t = slots[j];
            if (t.kind == PKind::In) {
                c = t.in;
            } else if (t.kind == PKind::IntOut && !t.null && t.ints[0] != kUnsetInt) {
                c = t.ints[0];
            }
        }
    }
    if (c < 0) {
        c = 0;
    }
    if (s.decl.size > 0 && c > s.decl.size &&
        (s.kind == PKind::LibInts || s.kind == PKind::LibCfgs)) {
        c = s.decl.size;
    }
    if ((s.kind == PKind::IntOut || s.kind == PKind::AllocArr) &&
        c > static_cast<long long>(capacity(s))) {
        c = static_cast<long long>(capacity(s));
    }
    return c;
}

bool all_unset(const std::vector<unsigned char> &bytes)
{
    for (unsigned char b : bytes) {
        if (b != kUnsetByte) {
            return false;
        }
    }
    return true;
}

void add_split(Result *out, const std::string &g, const dp_lib_port_split_info_t &s)
{
    int modes =
        s.split_mode_num <= DP_LIB_SPLIT_MODE_MAX ? s.split_mode_num : DP_LIB_SPLIT_MODE_MAX;
    std::vector<int> ids;
    std::vector<int> nums;
    int children = 0;
    for (int i = 0; i < modes; ++i) {
        ids.push_back(s.split_mode_id[i]);
        nums.push_back(s.split_mode_port_num[i]);
        children += s.split_mode_port_num[i];
    }
    if (children > DP_LIB_SPLIT_CHILD_MAX) {
        children = DP_LIB_SPLIT_CHILD_MAX;
    }
    std::vector<int> lports(s.child_port_lport, s.child_port_lport + children);
    out->add_int(g + ".split_mode_num", s.split_mode_num, Fmt::Dec);
    out->add_int(g + ".def_split_mode", s.def_split_mode, Fmt::Dec);
    out->add_list(g + ".split_mode_id", ids, Fmt::Dec);
    out->add_list(g + ".split_mode_port_num", nums, Fmt::Dec);
    out->add_list(g + ".child_port_lport", lports, Fmt::Dec);
}

void add_port_rec(Result *out, const std::string &g, const dm_port_t &p)
{
    out->add_int(g + ".ifx", p.ifx, Fmt::Hex);
    out->add_int(g + ".phyid", p.phyid, Fmt::Hex);
    out->add_int(g + ".node", p.node, Fmt::Hex);
    out->add_int(g + ".devid", p.devid, Fmt::Dec);
    out->add_int(g + ".slotid", p.slotid, Fmt::Dec);
    out->add_int(g + ".subslotid", p.subslotid, Fmt::Dec);
    out->add_int(g + ".portid", p.portid, Fmt::Dec);
    out->add_int(g + ".g_chipid", p.g_chipid, Fmt::Dec);
    out->add_int(g + ".l_chipid", p.l_chipid, Fmt::Dec);
    out->add_int(g + ".chip_portid", p.chip_portid, Fmt::Dec);
}

void add_lport_rec(Result *out, const std::string &g, const dp_lib_lport_t &p)
{
    out->add_int(g + ".lport_phyid", p.lport_phyid, Fmt::Hex);
    out->add_int(g + ".lport", p.lport, Fmt::Dec);
    out->add_int(g + ".medium_type", p.medium_type, Fmt::Medium);
    out->add_int(g + ".type", p.type, Fmt::PortType);
    out->add_int(g + ".is_parent", p.is_parent, Fmt::Bool);
    if (p.is_parent != 0) {
        add_split(out, g, p.split_info);
    }
}

void add_card_rec(Result *out, const std::string &g, const dp_lib_card_type_info_t &c)
{
    out->add_int(g + ".card_type", c.card_type, Fmt::Dec);
    out->add_str(g + ".name", std::string(c.name, strnlen(c.name, sizeof c.name)));
    out->add_int(g + ".port_num", c.port_num, Fmt::Dec);
    out->add_int(g + ".chip_num", c.chip_num, Fmt::Dec);
    out->add_list(g + ".chip_types",
                  std::vector<int>(c.chip_types, c.chip_types + DP_LIB_CARD_UNIT_MAX), Fmt::Dec);
    out->add_int(g + ".poe_support", c.poe_support, Fmt::Bool);
    out->add_int(g + ".node_type", c.node_type, Fmt::NodeType);
    std::vector<int> lports;
    std::vector<int> units;
    std::vector<int> cports;
    std::vector<int> poe;
    for (int l = 0; l < DP_LIB_CARD_LPORT_MAX; ++l) {
        if (c.lport_unit[l] >= 0) {
            lports.push_back(l);
            units.push_back(c.lport_unit[l]);
            cports.push_back(c.chip_port[l]);
        }
        if (c.lport_poe_support[l] != 0) {
            poe.push_back(l);
        }
    }
    out->add_list(g + ".lports", lports, Fmt::Dec);
    out->add_list(g + ".units", units, Fmt::Dec);
    out->add_list(g + ".cports", cports, Fmt::Dec);
    out->add_list(g + ".poe_lports", poe, Fmt::Dec);
    out->add_list(g + ".chip_cport_max",
                  std::vector<int>(c.chip_cport_max, c.chip_cport_max + DP_LIB_CARD_UNIT_MAX),
                  Fmt::Dec);
    std::vector<int> major;
    std::vector<int> first;
    std::vector<int> last;
    for (const dp_lib_relate_port_t &r : c.relate_port) {
        if (r.major_port != 0 || r.child_lport_start != 0 || r.child_lport_end != 0) {
            major.push_back(r.major_port);
            first.push_back(r.child_lport_start);
            last.push_back(r.child_lport_end);
        }
    }
    if (!major.empty()) {
        out->add_list(g + ".relate_major", major, Fmt::Dec);
        out->add_list(g + ".relate_first", first, Fmt::Dec);
        out->add_list(g + ".relate_last", last, Fmt::Dec);
    }
}

void collect_int(const std::vector<Slot> &slots, size_t i, bool has_ret, int ret, Result *out)
{
    const Slot &s = slots[i];
    const std::string &name = s.decl.name;
    if (s.decl.bracket) {
        long long c = printed_count(slots, i, has_ret, ret);
        out->add_list(name, std::vector<int>(s.ints.begin(), s.ints.begin() + c),
                      fmt_for_name(name));
    } else if (s.ints[0] == kUnsetInt) {
        out->add_unset(name);
    } else {
        out->add_int(name, s.ints[0], fmt_for_name(name));
    }
}

void collect_record(const Slot &s, Result *out)
{
    const std::string &name = s.decl.name;
    if (all_unset(s.bytes)) {
        out->add_unset(name);
    } else if (s.kind == PKind::PortRec) {
        dm_port_t p;
        std::memcpy(&p, s.bytes.data(), sizeof p);
        add_port_rec(out, name, p);
    } else if (s.kind == PKind::LportRec) {
        dp_lib_lport_t p;
        std::memcpy(&p, s.bytes.data(), sizeof p);
        add_lport_rec(out, name, p);
    } else {
        auto c = std::make_unique<dp_lib_card_type_info_t>();
        std::memcpy(c.get(), s.bytes.data(), sizeof *c);
        add_card_rec(out, name, *c);
    }
}

// The chip-ID allocation records, as three parallel lists.
void collect_allocs(const Slot &s, long long count, Result *out)
{
    std::vector<int> ids;
    std::vector<int> nodes;
    std::vector<int> units;
    for (long long k = 0; k < count; ++k) {
        dm_chipid_alloc_t a;
        std::memcpy(&a, s.bytes.data() + k * sizeof a, sizeof a);
        ids.push_back(a.chipid);
        nodes.push_back(a.node);
        units.push_back(a.unit);
    }
    out->add_list(s.decl.name + ".chipid", ids, Fmt::Dec);
    out->add_list(s.decl.name + ".node", nodes, Fmt::Hex);
    out->add_list(s.decl.name + ".unit", units, Fmt::Dec);
}

void collect_lib_array(const Slot &s, long long count, Result *out)
{
    const std::string &name = s.decl.name;
    if (s.lib_ints == nullptr && s.lib_cfgs == nullptr) {
        out->add_null(name);
    } else if (s.lib_ints != nullptr) {
        out->add_list(name, std::vector<int>(s.lib_ints, s.lib_ints + count), fmt_for_name(name));
    } else {
        std::vector<int> phyids;
        std::vector<int> types;
        for (long long k = 0; k < count; ++k) {
            phyids.push_back(s.lib_cfgs[k].phyid);
            types.push_back(s.lib_cfgs[k].type);
        }
        out->add_list(name + ".phyid", phyids, Fmt::Hex);
        out->add_list(name + ".type", types, Fmt::PortType);
    }
}

void collect_string(const Slot &s, Result *out)
{
    const char *b = reinterpret_cast<const char *>(s.bytes.data());
    size_t len = strnlen(b, s.bytes.size());
    if (all_unset(s.bytes)) {
        out->add_unset(s.decl.name);
    } else if (len == s.bytes.size()) {
        out->add_str(s.decl.name, std::string(b, len) + "...(not terminated)");
    } else {
        out->add_str(s.decl.name, std::string(b, len));
    }
}

// Fills the result with the outputs, in parameter order.
void collect(const std::vector<Slot> &slots, bool has_ret, int ret, Result *out)
{
    for (size_t i = 0; i < slots.size(); ++i) {
        const Slot &s = slots[i];
        if (is_input(s.kind) || s.null) {
            continue;
        }
        switch (s.kind) {
        case PKind::IntOut:
            collect_int(slots, i, has_ret, ret, out);
            break;
        case PKind::BoolOut:
            if (s.bytes[0] == kUnsetByte) {
                out->add_unset(s.decl.name);
            } else {
                out->add_int(s.decl.name, s.bytes[0], Fmt::Bool);
            }
            break;
        case PKind::PortRec:
        case PKind::LportRec:
        case PKind::CardRec:
            collect_record(s, out);
            break;
        case PKind::AllocArr:
            collect_allocs(s, printed_count(slots, i, has_ret, ret), out);
            break;
        case PKind::LibInts:
        case PKind::LibCfgs:
            collect_lib_array(s, printed_count(slots, i, has_ret, ret), out);
            break;
        case PKind::CharBuf:
            collect_string(s, out);
            break;
        default:
            break;
        }
    }
}

// Arrays the library allocated are the caller's to free.
void release(std::vector<Slot> &slots)
{
    for (Slot &s : slots) {
        std::free(s.lib_ints);
        std::free(s.lib_cfgs);
        s.lib_ints = nullptr;
        s.lib_cfgs = nullptr;
    }
}

}  // namespace

// "dm_get_poe_support_port card_type [port_num=256] -> ret port[] port_num"
std::string describe(const CallEntry &e, const PKind *kinds, size_t n, bool has_ret)
{
    std::string ins;
    std::string outs = has_ret ? " ret" : "";
    for (size_t i = 0; i < n; ++i) {
        ParamDecl s = parse_param_decl(e.params[i]);
        if (is_input(kinds[i])) {
            std::string what = kinds[i] == PKind::In ? s.name : s.name + "(app|null)";
            ins += s.has_default ? " [" + what + "=" + std::to_string(s.def) + "]" : " " + what;
        } else if (s.has_default) {
            ins += " [" + s.name + "=" + std::to_string(s.def) + "]";
            outs += " " + s.name;
        } else {
            bool array = s.bracket && kinds[i] != PKind::CharBuf;
            outs += " " + s.name + (array ? "[]" : "");
        }
    }
    return std::string(e.name) + ins + (outs.empty() ? "" : " ->" + outs);
}

bool begin_call(const CallEntry &e, const PKind *kinds, size_t n, const Args &args,
                std::vector<Slot> &slots, Result *out, std::string *err)
{
    if (!prepare(e, kinds, n, args, slots, err)) {
        return false;
    }
    start_result(e, slots, out);
    std::fflush(stdout);  // the function's own output comes after ours so far
    return true;
}

void end_call(const CallEntry &e, std::vector<Slot> &slots, bool has_ret, int ret, bool is_bool,
              Result *out)
{
    if (has_ret) {
        out->add_int("ret", ret, is_bool ? Fmt::Bool : fmt_for_name(e.ret));
    }
    std::fflush(stdout);
    collect(slots, has_ret, ret, out);
    release(slots);
}

void *app_handler(PKind k) { return k == PKind::EventFn ? g_event_handler : g_rpc_handler; }

void set_app_handlers(void *event_handler, void *rpc_handler)
{
    g_event_handler = event_handler;
    g_rpc_handler = rpc_handler;
}

}  // namespace dmsim::call_adapter
