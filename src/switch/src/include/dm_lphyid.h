// The local phyid queries (dm_lphyid.cpp). Everything the source defines is
// exported; this header is where the rest of the library finds it.
#pragma once

#include <dm_lib_pd/dm_lphyid.h>
