// The interactive shell, on GNU readline.
#include "shell.h"

#include <readline/history.h>
#include <readline/readline.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "calls.h"
#include "interp.h"
#include "json_out.h"

namespace dmsim {

namespace {

constexpr int kHistoryLines = 1000;

// The words completion offers for the word being typed.
std::vector<std::string> g_choices;

std::vector<std::string> choices_for(const std::string &line_before, bool first_word)
{
    if (first_word) {
        return command_names();
    }
    std::string cmd = line_before.substr(0, line_before.find(' '));
    std::vector<std::string> out;
    size_t words = 0;
    bool in_word = false;
    for (char c : line_before) {
        if (c != ' ' && !in_word) {
            ++words;
        }
        in_word = c != ' ';
    }
    if ((cmd == "call" || cmd == "expect") && words == 1) {
        for (const CallEntry &e : call_table()) {
            out.push_back(e.name);
        }
    } else if (cmd == "show" && words == 1) {
        out = {"chassis", "6", "9", "10", "11", "12"};
    } else if (cmd == "help" && words == 1) {
        out = command_names();
    }
    return out;
}

char *next_choice(const char *text, int state)
{
    static size_t next;
    if (state == 0) {
        next = 0;
    }
    size_t len = std::strlen(text);
    while (next < g_choices.size()) {
        const std::string &c = g_choices[next++];
        if (c.compare(0, len, text) == 0) {
            return strdup(c.c_str());
        }
    }
    return nullptr;
}

char **complete(const char *text, int start, int)
{
    std::string before(rl_line_buffer, static_cast<size_t>(start));
    bool first = before.find_first_not_of(' ') == std::string::npos;
    std::string cmd = before.substr(
        before.find_first_not_of(' ') == std::string::npos ? 0 : before.find_first_not_of(' '));
    if (!first && cmd.rfind("source", 0) == 0) {
        return nullptr;  // file names
    }
    rl_attempted_completion_over = 1;
    g_choices = choices_for(cmd, first);
    return rl_completion_matches(text, next_choice);
}

std::string history_file()
{
    const char *home = std::getenv("HOME");
    return home != nullptr && *home != '\0' ? std::string(home) + "/.dmsim_history" : "";
}

}  // namespace

int run_shell(Session &s)
{
    rl_readline_name = "dmsim";
    rl_attempted_completion_function = complete;
    using_history();
    stifle_history(kHistoryLines);
    std::string hist = history_file();
    if (!hist.empty()) {
        read_history(hist.c_str());
    }
    // With JSON on, the prompt and greeting go to standard error so that
    // standard output stays JSON Lines.
    std::fprintf(json_active() ? stderr : stdout,
                 "dmsim: the library is loaded and started. help lists the commands; quit ends.\n");
    Where w{"<stdin>", 0};
    while (!s.quit) {
        rl_outstream = json_active() ? stderr : stdout;
        char *line = readline("dmsim> ");
        if (line == nullptr) {
            std::fprintf(rl_outstream, "\n");
            break;
        }
        ++w.line;
        if (line[0] != '\0') {
            add_history(line);
        }
        run_line(s, line, w);
        std::free(line);
        std::fflush(stdout);
    }
    if (!hist.empty()) {
        write_history(hist.c_str());
    }
    return 0;
}

}  // namespace dmsim
