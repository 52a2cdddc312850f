// The working directory dmsim runs in. The library asks the kernel driver
// through a device file at the relative path "tmp/dm_dev", so dmsim works in
// a private scratch directory that holds that file (and removes it at exit).
// Paths the user names are taken relative to where dmsim was started.
#pragma once

#include <string>

namespace dmsim {

// Creates the scratch directory with tmp/dm_dev and changes into it.
bool workdir_enter(std::string *err);
// Changes back and removes the scratch directory.
void workdir_leave();
// Whether tmp/dm_dev exists (the library's open fails without it).
bool workdir_set_dev_file(bool present, std::string *err);
bool workdir_dev_file();
// A user's path, made absolute against the directory dmsim started in.
std::string user_path(const std::string &path);

}  // namespace dmsim
