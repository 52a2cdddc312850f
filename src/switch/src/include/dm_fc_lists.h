// The startup and saved port-conversion lists (dm_fc_lists.cpp); their
// queries are exported (<dm_lib_pd/dm_fc_lists.h>).
#pragma once

#include "dm_host.h"

// Data messages 8 to 13.
void dm_fc_lib_start_cfg_begin(void *data);
void dm_fc_lib_start_cfg(void *data);
void dm_fc_lib_start_cfg_over(void *data);
void dm_fc_lib_save_cfg_begin(void *data);
void dm_fc_lib_save_cfg(void *data);
void dm_fc_lib_save_cfg_over(void *data);
// Payload bytes a chunk announces: 8 + 8 x (cfg_max - cfg_min + 1).
long long dm_fc_lib_chunk_len(const void *data, int len);

// Show commands 10, 11 and 12.
void test_dm_get_fc_startup_cfg(void);
void test_dm_get_fc_save_cfg(void);
void test_dm_fc_dbg_level(void);
