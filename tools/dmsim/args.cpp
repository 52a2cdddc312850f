// Words of a command line and the values they stand for.
#include "args.h"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <span>
#include <vector>

#include <dm_lib_pd/dm_ids.h>
#include <dm_kdev.h>
#include <dp_pd_common.h>

namespace dmsim {

namespace {

struct Name {
    const char *name;
    int value;
};

const Name kPortTypes[] = {
    {"fe", PORT_FAST_ETHERNET},
    {"ge", PORT_GIGABIT_ETHERNET},
    {"10g", PORT_TGIGABIT_ETHERNET},
    {"40g", PORT_FOGIGABIT_ETHERNET},
    {"100g", PORT_HUGIGABIT_ETHERNET},
    {"vmgmt", PORT_VIRTUAL_MGMT},
    {"mgmt", PORT_MGMT},
    {"fc", PORT_FC},
    {"25g", PORT_TFGIGABIT_ETHERNET},
    {"50g", PORT_FIFTYGIGABIT_ETHERNET},
    {"200g", PORT_THGIGABIT_ETHERNET},
    {"400g", PORT_FHGIGABIT_ETHERNET},
};

const Name kMedia[] = {
    {"fiber", PORT_MEDIUM_FIBER},
    {"copper", PORT_MEDIUM_COPPER},
    {"combo", PORT_MEDIUM_FIBER_COPPER},
};

const Name kNodeTypes[] = {
    {"unknown", DM_TYPE_UNKNOWN}, {"box", DM_TYPE_BOX}, {"mb", DM_TYPE_MB},   {"lc", DM_TYPE_LC},
    {"sublc", DM_TYPE_SUB_LC},    {"sfc", DM_TYPE_SFC}, {"msc", DM_TYPE_MSC},
};

const Name kDebugLevels[] = {
    {"verbose", 0}, {"detail", 1}, {"warn", 2}, {"error", 3}, {"silent", 4},
};

// The link-layer type (dm_kdev.h) of each port type that has one, under the
// port type's name.
const std::vector<Name> kLlcbOfPortType = [] {
    std::vector<Name> out;
    for (const Name &n : kPortTypes) {
        if (const int llcb = dm_kdev_llcb_of_port_type(n.value); llcb != -1) {
            out.push_back({n.name, llcb});
        }
    }
    return out;
}();

bool lookup_name(std::span<const Name> names, const std::string &text, int *value)
{
    for (const Name &n : names) {
        if (text == n.name) {
            *value = n.value;
            return true;
        }
    }
    return false;
}

const char *name_of(std::span<const Name> names, int value)
{
    for (const Name &n : names) {
        if (n.value == value) {
            return n.name;
        }
    }
    return "?";
}

bool parse_named(std::span<const Name> names, const char *what, const std::string &text, int *value,
                 std::string *err)
{
    if (lookup_name(names, text, value)) {
        return true;
    }
    std::string e;
    if (parse_int(text, value, &e)) {
        return true;
    }
    *err = "bad " + std::string(what) + " '" + text + "' (one of";
    for (const Name &n : names) {
        *err += " ";
        *err += n.name;
    }
    *err += ", or a number)";
    return false;
}

// Plain number: [-](0x hex | 0b binary | decimal), within -2^31 .. 2^32-1.
bool parse_plain(const std::string &text, long long *value)
{
    const char *s = text.c_str();
    bool neg = false;
    if (*s == '-' || *s == '+') {
        neg = *s == '-';
        ++s;
    }
    int base = 10;
    if (s[0] == '0' && (s[1] == 'x' || s[1] == 'X')) {
        base = 16;
        s += 2;
    } else if (s[0] == '0' && (s[1] == 'b' || s[1] == 'B')) {
        base = 2;
        s += 2;
    }
    if (*s == '\0') {
        return false;
    }
    unsigned long long v = 0;
    for (; *s != '\0'; ++s) {
        int d;
        if (std::isdigit(static_cast<unsigned char>(*s))) {
            d = *s - '0';
        } else if (std::isxdigit(static_cast<unsigned char>(*s))) {
            d = std::tolower(static_cast<unsigned char>(*s)) - 'a' + 10;
        } else {
            return false;
        }
        if (d >= base) {
            return false;
        }
        v = v * base + d;
        if (v > 0xFFFFFFFFull) {
            return false;
        }
    }
    long long r = neg ? -static_cast<long long>(v) : static_cast<long long>(v);
    if (r < INT32_MIN) {
        return false;
    }
    *value = r;
    return true;
}

struct Builder {
    const char *name;
    int min_args;
    int max_args;
    int (*build)(const int *a, int n);
};

const Builder kBuilders[] = {
    {"node", 2, 3, [](const int *a, int n) { return node_of(a[0], a[1], n > 2 ? a[2] : 0); }},
    {"gslot", 2, 3,
     [](const int *a, int n) { return dm_get_gslot_from_lslot(a[0], a[1], n > 2 ? a[2] : 0); }},
    {"slot_lport", 3, 3, [](const int *a, int) { return dm_slot_lport_phyid(a[0], a[1], a[2]); }},
    {"mod_port", 2, 2, [](const int *a, int) { return dm_mod_port_phyid(a[0], a[1]); }},
    {"unit_port", 4, 4,
     [](const int *a, int) { return dm_unit_port_phyid(a[0], a[1], a[2], a[3]); }},
    {"dm_phyid", 4, 4, [](const int *a, int) { return dm_phyid_make(a[0], a[1], a[2], a[3]); }},
    {"lport_phyid", 2, 2, [](const int *a, int) { return dm_lport_phyid_make(a[0], a[1]); }},
    {"sysport", 4, 4, [](const int *a, int) { return dm_sysport_make(a[0], a[1], a[2], a[3]); }},
    {"mgmt", 3, 3,
     [](const int *a, int) {
         return static_cast<int>(0x0F000000u | (DM_U32(a[0]) << 16) | (DM_U32(a[1]) << 8) |
                                 DM_U32(a[2]));
     }},
};

}  // namespace

IdParts decode_id(const std::string &name, int value)
{
    std::string n = name.substr(name.rfind('.') == std::string::npos ? 0 : name.rfind('.') + 1);
    IdParts id;
    const auto u = [value](int shift, unsigned mask) {
        return static_cast<int>((DM_U32(value) >> shift) & mask);
    };
    if (n.find("lport_phyid") != std::string::npos) {
        id.form = "lport_phyid";
        id.parts = {{"unit", dm_lport_phyid_unit(value)}, {"port", dm_lport_phyid_port(value)}};
    } else if (n.find("phyid") != std::string::npos) {
        switch (dm_phyid_form(value)) {
        case DM_PHYID_FORM_SLOT_LPORT:
            id.form = "slot_lport";
            id.parts = {{"device", u(16, 0xFF)}, {"slot", u(8, 0xFF)}, {"lport", u(0, 0xFF)}};
            break;
        case DM_PHYID_FORM_MOD_PORT:
            id.form = "mod_port";
            id.parts = {{"chipid", dm_mod_port_chipid(value)}, {"port", dm_mod_port_port(value)}};
            break;
        case DM_PHYID_FORM_UNIT_PORT:
            id.form = "unit_port";
            id.parts = {{"device", dm_unit_port_devid(value)},
                        {"slot", dm_unit_port_slot(value)},
                        {"unit", dm_unit_port_unit(value)},
                        {"port", dm_unit_port_port(value)}};
            break;
        case DM_PHYID_FORM_PHY_MGMT:
            id.form = "mgmt";
            id.parts = {{"device", u(16, 0xFF)}, {"slot", u(8, 0xFF)}, {"lport", u(0, 0xFF)}};
            break;
        default:
            break;
        }
    } else if (n.find("node") != std::string::npos) {
        id.form = "node";
        id.parts = {{"device", dm_node_devid(value)},
                    {"slot", dm_node_lslot(value)},
                    {"sslot", dm_node_sslot(value)}};
    }
    return id;
}

namespace {

// The next comma at or after `from` that is not inside parentheses.
size_t find_top_comma(const std::string &text, size_t from)
{
    int depth = 0;
    for (size_t i = from; i < text.size(); ++i) {
        if (text[i] == '(') {
            ++depth;
        } else if (text[i] == ')') {
            --depth;
        } else if (text[i] == ',' && depth == 0) {
            return i;
        }
    }
    return std::string::npos;
}

bool parse_builder(const std::string &text, int *value, std::string *err)
{
    size_t open = text.find('(');
    if (open == std::string::npos || text.back() != ')') {
        return false;
    }
    std::string name = text.substr(0, open);
    for (const Builder &b : kBuilders) {
        if (name != b.name) {
            continue;
        }
        std::string inner = text.substr(open + 1, text.size() - open - 2);
        int a[4] = {};
        int n = 0;
        size_t start = 0;
        while (start <= inner.size()) {
            size_t comma = inner.find(',', start);
            std::string part =
                inner.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
            if (n == 4 || !parse_int(part, &a[n], err)) {
                *err = "bad arguments in '" + text + "'";
                return false;
            }
            ++n;
            if (comma == std::string::npos) {
                break;
            }
            start = comma + 1;
        }
        if (n < b.min_args || n > b.max_args) {
            *err = name + "() takes " + std::to_string(b.min_args) +
                   (b.max_args != b.min_args ? " or " + std::to_string(b.max_args) : "") +
                   " arguments";
            return false;
        }
        *value = b.build(a, n);
        return true;
    }
    *err = "unknown identifier builder '" + name + "'";
    return false;
}

}  // namespace

bool split_words(const std::string &line, std::vector<std::string> *words, std::string *err)
{
    words->clear();
    std::string cur;
    bool in_word = false;
    bool quoted = false;
    for (char c : line) {
        if (quoted) {
            if (c == '"') {
                quoted = false;
            } else {
                cur += c;
            }
            continue;
        }
        if (c == '"') {
            quoted = true;
            in_word = true;
        } else if (c == '#') {
            break;
        } else if (std::isspace(static_cast<unsigned char>(c))) {
            if (in_word) {
                words->push_back(cur);
                cur.clear();
                in_word = false;
            }
        } else {
            cur += c;
            in_word = true;
        }
    }
    if (quoted) {
        *err = "unterminated quote";
        return false;
    }
    if (in_word) {
        words->push_back(cur);
    }
    return true;
}

Args Args::from_words(const std::vector<std::string> &words, size_t first)
{
    Args a;
    for (size_t i = first; i < words.size(); ++i) {
        const std::string &w = words[i];
        size_t eq = w.find('=');
        if (eq != std::string::npos && eq > 0) {
            a.opts.emplace_back(w.substr(0, eq), w.substr(eq + 1));
        } else {
            a.pos.push_back(w);
        }
    }
    return a;
}

bool Args::has(const std::string &name) const { return opt(name) != nullptr; }

const std::string *Args::opt(const std::string &name) const
{
    const std::string *found = nullptr;
    for (const auto &o : opts) {
        if (o.first == name) {
            found = &o.second;
        }
    }
    return found;
}

std::vector<std::string> Args::unknown(const std::vector<std::string> &known) const
{
    std::vector<std::string> out;
    for (const auto &o : opts) {
        bool ok = false;
        for (const std::string &k : known) {
            ok = ok || o.first == k;
        }
        if (!ok) {
            out.push_back(o.first);
        }
    }
    return out;
}

int node_of(int dev, int slot, int sslot)
{
    return dm_node_make(dev, slot) | static_cast<int>((DM_U32(sslot) << 18) & 0xFC0000u);
}

bool Args::only(const std::vector<std::string> &known, std::string *err) const
{
    std::vector<std::string> bad = unknown(known);
    if (bad.empty()) {
        return true;
    }
    *err = "unknown option '" + bad.front() + "'";
    return false;
}

bool Args::get(const char *name, int *v, std::string *err) const
{
    const std::string *s = opt(name);
    if (s != nullptr && !parse_int(*s, v, err)) {
        *err = std::string(name) + "=: " + *err;
        return false;
    }
    return true;
}

bool Args::need(const char *name, int *v, std::string *err) const
{
    if (!has(name)) {
        *err = std::string("missing ") + name + "=";
        return false;
    }
    return get(name, v, err);
}

bool parse_int(const std::string &text, int *value, std::string *err)
{
    if (text == "true") {
        *value = 1;
        return true;
    }
    if (text == "false") {
        *value = 0;
        return true;
    }
    long long v = 0;
    if (parse_plain(text, &v)) {
        *value = static_cast<int>(static_cast<uint32_t>(v));
        return true;
    }
    if (text.find('(') != std::string::npos) {
        std::string e;
        if (parse_builder(text, value, &e)) {
            return true;
        }
        *err = e;
        return false;
    }
    *err = "bad number '" + text + "'";
    return false;
}

bool parse_list(const std::string &text, std::vector<int> *values, std::string *err,
                size_t max_items)
{
    values->clear();
    if (text.empty()) {
        return true;
    }
    size_t start = 0;
    while (true) {
        size_t comma = find_top_comma(text, start);
        std::string item =
            text.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
        // A range "a-b": the dash after the first character (a leading dash
        // is a sign).
        size_t dash = item.find('-', 1);
        size_t star = item.find('*');
        int lo = 0;
        int hi = 0;
        if (star != std::string::npos) {
            // "v*n": n times the value v.
            int times = 0;
            if (!parse_int(item.substr(0, star), &lo, err) ||
                !parse_int(item.substr(star + 1), &times, err)) {
                return false;
            }
            if (times < 0 || static_cast<size_t>(times) + values->size() > max_items) {
                *err = "bad repeat count in '" + item + "'";
                return false;
            }
            values->insert(values->end(), static_cast<size_t>(times), lo);
            if (comma == std::string::npos) {
                return true;
            }
            start = comma + 1;
            continue;
        }
        if (dash != std::string::npos && item.find('(') == std::string::npos) {
            if (!parse_int(item.substr(0, dash), &lo, err) ||
                !parse_int(item.substr(dash + 1), &hi, err)) {
                return false;
            }
            if (hi < lo) {
                *err = "range '" + item + "' runs backwards";
                return false;
            }
        } else {
            if (!parse_int(item, &lo, err)) {
                return false;
            }
            hi = lo;
        }
        if (static_cast<long long>(hi) - lo + 1 + static_cast<long long>(values->size()) >
            static_cast<long long>(max_items)) {
            *err = "list '" + text + "' is longer than " + std::to_string(max_items);
            return false;
        }
        for (long long v = lo; v <= hi; ++v) {
            values->push_back(static_cast<int>(v));
        }
        if (comma == std::string::npos) {
            return true;
        }
        start = comma + 1;
    }
}

bool parse_hex_bytes(const std::vector<std::string> &words, std::vector<uint8_t> *bytes,
                     std::string *err)
{
    bytes->clear();
    for (std::string w : words) {
        if (w.size() > 2 && w[0] == '0' && (w[1] == 'x' || w[1] == 'X')) {
            w = w.substr(2);
        }
        if (w.size() % 2 != 0) {
            *err = "hex bytes '" + w + "' have an odd number of digits";
            return false;
        }
        for (size_t i = 0; i < w.size(); i += 2) {
            if (!std::isxdigit(static_cast<unsigned char>(w[i])) ||
                !std::isxdigit(static_cast<unsigned char>(w[i + 1]))) {
                *err = "bad hex bytes '" + w + "'";
                return false;
            }
            bytes->push_back(
                static_cast<uint8_t>(std::strtoul(w.substr(i, 2).c_str(), nullptr, 16)));
        }
    }
    return true;
}

bool parse_port_type(const std::string &text, int *type, std::string *err)
{
    return parse_named(kPortTypes, "port type", text, type, err);
}
const char *port_type_name(int type) { return name_of(kPortTypes, type); }

bool parse_medium(const std::string &text, int *medium, std::string *err)
{
    return parse_named(kMedia, "medium", text, medium, err);
}
const char *medium_name(int medium) { return name_of(kMedia, medium); }

bool parse_node_type(const std::string &text, int *node_type, std::string *err)
{
    return parse_named(kNodeTypes, "node type", text, node_type, err);
}
const char *node_type_name(int node_type) { return name_of(kNodeTypes, node_type); }

bool parse_debug_level(const std::string &text, int *level, std::string *err)
{
    if (!parse_named(kDebugLevels, "debug level", text, level, err)) {
        return false;
    }
    if (*level < 0 || *level > 4) {
        *err = "debug level must be 0..4";
        return false;
    }
    return true;
}

bool parse_llcb_type(const std::string &text, int *llcb, std::string *err)
{
    return parse_named(kLlcbOfPortType, "link-layer type", text, llcb, err);
}

}  // namespace dmsim
