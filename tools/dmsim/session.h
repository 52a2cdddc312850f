// What the commands share: the chassis described so far, the last answer
// (which `expect` checks), and the command tables of the language.
#pragma once

#include <string>
#include <vector>

#include "args.h"
#include "model.h"
#include "result.h"

namespace dmsim {

struct Session {
    Model model;
    Result last;       // the last answer: a call, the events, a reply
    int log_seen = 0;  // host log lines already shown by `log`
    bool quit = false;
    std::string script_dir;   // directory of the running script, for `source`
    int depth = 0;            // nesting of `source`
    bool keep_going = false;  // a failed command does not stop a script
    int answers = 0;          // set_last calls so far: did this command answer?
    bool emitted = false;     // this command wrote its own JSON objects
};

// A command of the language. `run` gets the words after the command word;
// it returns false with a one-line reason in *err when the command failed.
using CommandFn = bool (*)(Session &s, const Args &a, std::string *err);

struct Command {
    const char *name;
    CommandFn run;
    const char *usage;    // "port dev=D slot=S lport=L unit=U cport=P [ifx=I] ..."
    const char *summary;  // one line
    const char *details;  // further lines of help, examples; may be ""
};

// The command families, each in its own source file.
const std::vector<Command> &host_commands();     // identity, debug, kernel device, rpc, events, log
const std::vector<Command> &message_commands();  // every message the library takes
const std::vector<Command> &query_commands();    // call, show, calls, gen

// Sets the last answer.
void set_last(Session &s, Result r);

}  // namespace dmsim
