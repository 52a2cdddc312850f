// Named fields of an answer: how they print and how `expect` compares them.
#include "result.h"

#include <cstdio>

#include "args.h"

namespace dmsim {

void Result::add_int(const std::string &name, int v, Fmt fmt)
{
    Field f;
    f.name = name;
    f.kind = Field::Kind::Int;
    f.fmt = fmt;
    f.num = v;
    fields.push_back(std::move(f));
}

void Result::add_list(const std::string &name, std::vector<int> v, Fmt fmt)
{
    Field f;
    f.name = name;
    f.kind = Field::Kind::List;
    f.fmt = fmt;
    f.list = std::move(v);
    fields.push_back(std::move(f));
}

void Result::add_str(const std::string &name, std::string s)
{
    Field f;
    f.name = name;
    f.kind = Field::Kind::Str;
    f.str = std::move(s);
    fields.push_back(std::move(f));
}

void Result::add_unset(const std::string &name)
{
    Field f;
    f.name = name;
    f.kind = Field::Kind::Unset;
    fields.push_back(std::move(f));
}

void Result::add_null(const std::string &name)
{
    Field f;
    f.name = name;
    f.kind = Field::Kind::Null;
    fields.push_back(std::move(f));
}

const Field *Result::find(const std::string &name) const
{
    for (const Field &f : fields) {
        if (f.name == name) {
            return &f;
        }
    }
    return nullptr;
}

void Result::clear() { *this = Result(); }

Fmt fmt_for_name(const std::string &name)
{
    // Only the last part of a record field counts ("pinfo.node").
    std::string n = name.substr(name.rfind('.') == std::string::npos ? 0 : name.rfind('.') + 1);
    if (n == "eth_type") {
        return Fmt::PortType;
    }
    if (n == "medium_type") {
        return Fmt::Medium;
    }
    if (n == "node_type") {
        return Fmt::NodeType;
    }
    if (n.find("_type") != std::string::npos || n.find("_num") != std::string::npos) {
        return Fmt::Dec;
    }
    for (const char *key : {"phyid", "node", "ifx", "ifindex", "lsm_key"}) {
        if (n.find(key) != std::string::npos) {
            return Fmt::Hex;
        }
    }
    return Fmt::Dec;
}

std::string hex32(unsigned v)
{
    char buf[16];
    std::snprintf(buf, sizeof buf, "0x%08x", v);
    return buf;
}

std::string format_int(int v, Fmt fmt)
{
    char buf[32];
    if (fmt == Fmt::Bool) {
        if (v == 0 || v == 1) {
            return v != 0 ? "true" : "false";
        }
        std::snprintf(buf, sizeof buf, "%d(not a bool)", v);
    } else if (fmt == Fmt::Hex && v >= 0) {
        return hex32(static_cast<unsigned>(v));
    } else if (fmt == Fmt::PortType || fmt == Fmt::Medium || fmt == Fmt::NodeType) {
        const char *name = fmt == Fmt::PortType ? port_type_name(v)
                           : fmt == Fmt::Medium ? medium_name(v)
                                                : node_type_name(v);
        std::snprintf(buf, sizeof buf, "%d(%s)", v, name);
    } else {
        std::snprintf(buf, sizeof buf, "%d", v);
    }
    return buf;
}

std::string format_value(const Field &f)
{
    switch (f.kind) {
    case Field::Kind::Int:
        return format_int(f.num, f.fmt);
    case Field::Kind::Unset:
        return "unset";
    case Field::Kind::Null:
        return "null";
    case Field::Kind::Str:
        return "\"" + f.str + "\"";
    case Field::Kind::List: {
        // Appended piece by piece: "[" + std::string trips a false -Wrestrict
        // in GCC 12's std::string at -O2.
        std::string s = "[";
        s += format_list(f.list, f.fmt);
        s += ']';
        return s;
    }
    }
    return "";
}

std::string format_list(const std::vector<int> &v, Fmt fmt)
{
    // Named values print one by one.
    const bool compress = fmt == Fmt::Dec || fmt == Fmt::Hex;
    std::string s;
    size_t i = 0;
    while (i < v.size()) {
        if (!compress) {
            s += i ? "," : "";
            s += format_int(v[i], fmt);
            ++i;
            continue;
        }
        size_t same = 1;
        while (i + same < v.size() && v[i + same] == v[i]) {
            ++same;
        }
        size_t run = 1;
        while (i + run < v.size() &&
               static_cast<long long>(v[i + run]) == static_cast<long long>(v[i + run - 1]) + 1) {
            ++run;
        }
        s += i ? "," : "";
        if (same >= 3) {
            s += format_int(v[i], fmt) + "*" + std::to_string(same);
            i += same;
        } else if (run >= 3) {
            s += format_int(v[i], fmt) + "-" + format_int(v[i + run - 1], fmt);
            i += run;
        } else {
            s += format_int(v[i], fmt);
            ++i;
        }
    }
    return s;
}

std::string render(const Result &r)
{
    std::string line = r.title;
    if (const Field *ret = r.find("ret")) {
        line += " = " + format_value(*ret);
    }
    std::string plain;
    std::vector<std::string> groups;
    std::vector<std::string> group_text;
    for (const Field &f : r.fields) {
        if (f.name == "ret") {
            continue;
        }
        size_t dot = f.name.find('.');
        if (dot == std::string::npos) {
            plain += (plain.empty() ? "  " : " ") + f.name + "=" + format_value(f);
            continue;
        }
        std::string group = f.name.substr(0, dot);
        size_t g = 0;
        while (g < groups.size() && groups[g] != group) {
            ++g;
        }
        if (g == groups.size()) {
            groups.push_back(group);
            group_text.emplace_back();
        }
        group_text[g] += ' ';
        group_text[g] += f.name.substr(dot + 1) + "=" + format_value(f);
    }
    std::string out = line + plain + "\n";
    for (size_t g = 0; g < groups.size(); ++g) {
        out += "  " + groups[g] + ":" + group_text[g] + "\n";
    }
    return out;
}

namespace {

bool values_equal(const Field &f, const std::string &want, std::string *err)
{
    if (want == "unset" || want == "null") {
        return f.kind == (want == "unset" ? Field::Kind::Unset : Field::Kind::Null);
    }
    switch (f.kind) {
    case Field::Kind::Unset:
    case Field::Kind::Null:
        return false;
    case Field::Kind::Str:
        return f.str == want;
    case Field::Kind::Int: {
        int v = 0;
        if (!parse_int(want, &v, err)) {
            return false;
        }
        return f.num == v;
    }
    case Field::Kind::List: {
        std::string inner = want;
        if (inner.size() >= 2 && inner.front() == '[' && inner.back() == ']') {
            inner = inner.substr(1, inner.size() - 2);
        }
        std::vector<int> v;
        if (!parse_list(inner, &v, err)) {
            return false;
        }
        return f.list == v;
    }
    }
    return false;
}

}  // namespace

bool check_clause(const Result &r, const std::string &clause, std::string *why)
{
    size_t op = clause.find_first_of("=~!");
    if (op == std::string::npos || op == 0) {
        *why = "bad expectation '" + clause + "' (want name=value, name!=value or name~text)";
        return false;
    }
    std::string name = clause.substr(0, op);
    bool negate = false;
    char kind = clause[op];
    size_t value_at = op + 1;
    if (kind == '!') {
        if (op + 1 >= clause.size() || clause[op + 1] != '=') {
            *why = "bad expectation '" + clause + "'";
            return false;
        }
        negate = true;
        kind = '=';
        value_at = op + 2;
    }
    std::string want = clause.substr(value_at);
    const Field *f = r.find(name);
    if (f == nullptr) {
        *why = "no value named '" + name + "' in the last answer";
        if (!r.title.empty()) {
            *why += " (" + r.title + ")";
        }
        return false;
    }
    const std::string got = format_value(*f);
    if (kind == '~') {
        std::string text = f->kind == Field::Kind::Str ? f->str : got;
        if (text.find(want) != std::string::npos) {
            return true;
        }
        *why = name + " is " + got + ", which does not contain \"" + want + "\"";
        return false;
    }
    std::string err;
    bool equal = values_equal(*f, want, &err);
    if (!err.empty()) {
        *why = err;
        return false;
    }
    if (equal != negate) {
        return true;
    }
    *why = name + " is " + got + (negate ? ", expected anything else" : ", expected " + want);
    return false;
}

}  // namespace dmsim
