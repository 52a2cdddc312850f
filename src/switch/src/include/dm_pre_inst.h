// Pre-installed cards (dm_pre_inst.cpp): data message 15; its query is
// exported (<dm_lib_pd/dm_pre_inst.h>).
#pragma once

#include <dm_lib_pd/dm_pre_inst.h>

void dp_lib_port_pre_inst_done_handle(void *data);
