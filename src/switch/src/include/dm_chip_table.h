// The chip-type table (dm_chip_table.cpp): data message 4 and the record
// copy-out the chip queries read through.
#pragma once

#include "dm_diag.h"
#include "dp_pd_common.h"

// Sets the table up; a failure is reported under the caller's name.
int dm_chip_table_init(dm_site at);

// Data message 4.
void dp_lib_set_chip_cfg_info(void *data);

// A chip-type record; 0 or -1.
int dm_lib_get_chip_info_by_type(int type, dp_lib_chip_info_t *pinfo);
