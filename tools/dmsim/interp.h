// The command interpreter: one line at a time, from a script or a terminal.
// It splits the line, finds the command, reports a failure as one line
// naming the script and line, and runs the language's own commands:
// expect, source, echo, help and quit.
#pragma once

#include <istream>
#include <string>
#include <vector>

#include "session.h"

namespace dmsim {

enum class Status {
    Ok,
    Error,         // the command failed (bad input, unknown command, ...)
    ExpectFailed,  // an expectation did not hold
};

struct Where {
    std::string file;  // script name as given, or "<stdin>"
    int line = 0;
};

Status run_line(Session &s, const std::string &line, const Where &where);

// Runs a script. The first failed command stops it (Error), unless the
// session keeps going; a failed expectation is reported and the script goes
// on (ExpectFailed at the end).
Status run_script(Session &s, const std::string &path);
// The same for lines read from a stream, reported under `name`.
Status run_stream(Session &s, std::istream &in, const std::string &name);

// Every command word, for completion and help.
std::vector<std::string> command_names();

// The language overview (topic empty) or one command's help; false for an
// unknown topic.
bool help_text(const std::string &topic, std::string *text);

}  // namespace dmsim
