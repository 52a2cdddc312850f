// Load-time start and the event thread (dm_lib_pd.cpp): the initialiser and
// debug-option parser handed to the host.
#pragma once

#include "dm_host.h"

int lib_pd_init(void);
void lib_pd_dbg_init(char *buf);
