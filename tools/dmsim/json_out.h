// JSON Lines output (--json, `json on`): one object per command on the
// process's standard output. While it is on, file descriptor 1 goes to a
// capture file, so whatever the library (or a command) prints there becomes
// the "text" of the command's object instead of breaking a line; the
// objects go to the real standard output. docs/dmsim-json.md describes the
// shapes.
#pragma once

#include <string>

#include <nlohmann/json_fwd.hpp>

#include "model.h"
#include "result.h"

namespace dmsim {

// Objects keep their keys in the order written ("cmd" first).
using Json = nlohmann::ordered_json;

// The version of the shapes, in the first line {"dmsim":VERSION,"v":1}.
constexpr int kJsonShapes = 1;

// Starts the output with the first line; false with *err when standard
// output cannot be captured.
bool json_start(std::string *err);
void json_stop();
bool json_active();

// Writes one object as one line, with the text captured since the last
// object as its "text" (when there is any and the object has none).
void json_emit(Json obj);
// The text captured since the last object, taken away.
std::string json_take_text();

// A result: a call as "fn", "args", "ret"; its other fields under "out"
// (records as nested objects), identifiers dmsim can take apart under
// "decoded" beside them.
Json json_of_result(const Result &r);
// The chassis dmsim has described: devices, cards, chip IDs and ports.
Json json_of_chassis(const Model &m);

}  // namespace dmsim
