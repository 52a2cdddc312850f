// The command interpreter.
#include "interp.h"

#include <cstdio>
#include <fstream>

#include <nlohmann/json.hpp>

#include "calls.h"
#include "json_out.h"
#include "workdir.h"

namespace dmsim {

namespace {

constexpr int kMaxSourceDepth = 16;

std::string g_cmd;  // the command word of the line running, for JSON errors

void report(const Where &w, const char *kind, const std::string &text)
{
    if (json_active()) {
        json_emit({{"cmd", g_cmd}, {"error", text}, {"file", w.file}, {"line", w.line}});
        return;
    }
    std::fflush(stdout);
    std::fprintf(stderr, "%s:%d: %s: %s\n", w.file.c_str(), w.line, kind, text.c_str());
    std::fflush(stderr);
}

const Command *find_command(const std::string &name)
{
    for (const auto *family : {&host_commands(), &message_commands(), &query_commands()}) {
        for (const Command &c : *family) {
            if (name == c.name) {
                return &c;
            }
        }
    }
    return nullptr;
}

// Checks clauses against the last answer; reports each that fails.
Status check_clauses(Session &s, const std::vector<std::string> &clauses, const Where &w)
{
    if (clauses.empty()) {
        report(w, "error", "expect needs at least one name=value");
        return Status::Error;
    }
    Status st = Status::Ok;
    Json checks = Json::array();
    for (const std::string &c : clauses) {
        std::string why;
        bool ok = check_clause(s.last, c, &why);
        if (!ok && why.rfind("bad expectation", 0) == 0) {
            report(w, "error", why);
            return Status::Error;
        }
        checks.push_back({{"check", c}, {"ok", ok}});
        if (!ok) {
            checks.back()["why"] = why;
            if (!json_active()) {
                report(w, "expect failed", why);
            }
            st = Status::ExpectFailed;
        }
    }
    if (json_active()) {
        json_emit({{"cmd", "expect"},
                   {"ok", st == Status::Ok},
                   {"file", w.file},
                   {"line", w.line},
                   {"checks", checks}});
        return st;
    }
    if (st != Status::Ok && !s.last.title.empty()) {
        std::fprintf(stderr, "  the answer was: %s", render(s.last).c_str());
    }
    return st;
}

// expect CLAUSE..., or expect FUNCTION ARGS... -> CLAUSE...
Status cmd_expect(Session &s, const std::vector<std::string> &words, const Where &w)
{
    size_t arrow = 1;
    while (arrow < words.size() && words[arrow] != "->") {
        ++arrow;
    }
    if (arrow == words.size()) {
        return check_clauses(s, std::vector<std::string>(words.begin() + 1, words.end()), w);
    }
    if (arrow < 2) {
        report(w, "error", "usage: expect FUNCTION ARGS... -> name=value ...");
        return Status::Error;
    }
    const CallEntry *e = find_call(words[1]);
    if (e == nullptr) {
        report(w, "error", "no exported function '" + words[1] + "'");
        return Status::Error;
    }
    std::vector<std::string> call_words(words.begin() + 2,
                                        words.begin() + static_cast<long>(arrow));
    Result r;
    std::string err;
    if (!run_call(*e, Args::from_words(call_words, 0), &r, &err)) {
        report(w, "error", err);
        return Status::Error;
    }
    set_last(s, r);
    return check_clauses(
        s, std::vector<std::string>(words.begin() + static_cast<long>(arrow) + 1, words.end()), w);
}

std::string dir_of(const std::string &path)
{
    size_t slash = path.rfind('/');
    return slash == std::string::npos ? "" : path.substr(0, slash + 1);
}

Status cmd_source(Session &s, const std::vector<std::string> &words, const Where &w)
{
    if (words.size() != 2) {
        report(w, "error", "usage: source FILE");
        return Status::Error;
    }
    if (s.depth >= kMaxSourceDepth) {
        report(w, "error", "scripts nested too deeply");
        return Status::Error;
    }
    std::string path = words[1];
    if (path[0] != '/' && !s.script_dir.empty()) {
        path = s.script_dir + path;
    }
    if (!std::ifstream(user_path(path))) {
        report(w, "error", "cannot open " + path);
        return Status::Error;
    }
    ++s.depth;
    Status st = run_script(s, path);
    --s.depth;
    return st;
}

}  // namespace

void set_last(Session &s, Result r)
{
    s.last = std::move(r);
    ++s.answers;
}

std::vector<std::string> command_names()
{
    std::vector<std::string> names = {"expect", "source", "echo", "help", "json", "quit", "exit"};
    for (const auto *family : {&host_commands(), &message_commands(), &query_commands()}) {
        for (const Command &c : *family) {
            names.push_back(c.name);
        }
    }
    return names;
}

namespace {

// json on|off
Status cmd_json(Session &s, const std::vector<std::string> &words, const Where &w)
{
    if (words.size() != 2 || (words[1] != "on" && words[1] != "off")) {
        report(w, "error", "usage: json on|off");
        return Status::Error;
    }
    std::string err;
    if (words[1] == "off") {
        s.emitted = true;
        json_emit({{"cmd", "json"}, {"json", false}});
        json_stop();
    } else if (!json_active() && !json_start(&err)) {
        report(w, "error", err);
        return Status::Error;
    }
    return Status::Ok;
}

Status run_words(Session &s, const std::vector<std::string> &words, const Where &w)
{
    std::string err;
    const std::string &cmd = words[0];
    if (cmd == "expect") {
        return cmd_expect(s, words, w);
    }
    if (cmd == "source") {
        return cmd_source(s, words, w);
    }
    if (cmd == "echo") {
        std::string text;
        for (size_t i = 1; i < words.size(); ++i) {
            text += (i > 1 ? " " : "") + words[i];
        }
        std::printf("%s\n", text.c_str());
        return Status::Ok;
    }
    if (cmd == "help") {
        std::string text;
        if (!help_text(words.size() > 1 ? words[1] : "", &text)) {
            report(w, "error", "no help on '" + words[1] + "'");
            return Status::Error;
        }
        std::fputs(text.c_str(), stdout);
        return Status::Ok;
    }
    if (cmd == "quit" || cmd == "exit") {
        s.quit = true;
        return Status::Ok;
    }
    if (cmd == "json") {
        return cmd_json(s, words, w);
    }
    const Command *c = find_command(cmd);
    if (c == nullptr) {
        report(w, "error", "unknown command '" + cmd + "' (help lists the commands)");
        return Status::Error;
    }
    if (!c->run(s, Args::from_words(words, 1), &err)) {
        report(w, "error", err.empty() ? std::string("usage: ") + c->usage : err);
        return Status::Error;
    }
    return Status::Ok;
}

}  // namespace

Status run_line(Session &s, const std::string &line, const Where &w)
{
    std::vector<std::string> words;
    std::string err;
    g_cmd.clear();
    if (!split_words(line, &words, &err)) {
        report(w, "error", err);
        return Status::Error;
    }
    if (words.empty()) {
        return Status::Ok;
    }
    g_cmd = words[0];
    const int answers = s.answers;
    s.emitted = false;
    const bool was_json = json_active();
    Status st = run_words(s, words, w);
    // Every other command that went well: its answer (if it gave one) and
    // what it printed.
    if (st == Status::Ok && was_json && json_active() && !s.emitted && g_cmd != "expect" &&
        g_cmd != "source") {
        Json obj = {{"cmd", g_cmd}};
        if (s.answers != answers) {
            obj.update(json_of_result(s.last));
        }
        json_emit(obj);
    }
    return st;
}

Status run_script(Session &s, const std::string &path)
{
    std::ifstream in(user_path(path));
    if (!in) {
        if (json_active()) {
            json_emit({{"cmd", "source"}, {"error", "cannot open the script"}, {"file", path}});
            return Status::Error;
        }
        std::fflush(stdout);
        std::fprintf(stderr, "%s: cannot open the script\n", path.c_str());
        return Status::Error;
    }
    std::string saved_dir = s.script_dir;
    s.script_dir = dir_of(path);
    Status result = run_stream(s, in, path);
    s.script_dir = saved_dir;
    return result;
}

Status run_stream(Session &s, std::istream &in, const std::string &name)
{
    Status result = Status::Ok;
    std::string line;
    Where w{name, 0};
    while (!s.quit && std::getline(in, line)) {
        ++w.line;
        Status st = run_line(s, line, w);
        if (st == Status::Error) {
            result = Status::Error;
            if (!s.keep_going) {
                break;
            }
            continue;
        }
        if (st == Status::ExpectFailed && result == Status::Ok) {
            result = Status::ExpectFailed;
        }
    }
    std::fflush(stdout);
    return result;
}

}  // namespace dmsim
