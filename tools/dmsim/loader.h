// Loading the library the way a switch daemon does: the host is already in
// the process; the library is opened with dlopen (its constructor registers
// with the host), the application registers its event and RPC handlers, and
// the host runs the library's initialiser, which starts its event thread.
#pragma once

#include <string>

namespace dmsim {

// False with *err when the library cannot be loaded at all; problems after
// loading (a registration refused, a function missing) are warned about on
// standard error and the session goes on.
bool load_library(const std::string &path, std::string *err);
// "soname libdm_lib_pd.so.1, version 1.0.0": the loaded library's SONAME
// and the version its file carries after ".so." (its real name).
std::string library_version();
// Asks the host's event loop to return; the library stays loaded.
void stop_library();

}  // namespace dmsim
