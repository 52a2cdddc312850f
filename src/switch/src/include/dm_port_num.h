// The card and slot port-number queries (dm_port_num.cpp). Everything the source defines is
// exported; this header is where the rest of the library finds it.
#pragma once

#include <dm_lib_pd/dm_port_num.h>
