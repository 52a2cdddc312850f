// The chip-type table (dm_chip_table.cpp): data message 4 and the record
// copy-out the chip queries read through.
#pragma once

#include "dp_pd_common.h"

int dm_chip_table_init(void);

// Data message 4.
void dp_lib_set_chip_cfg_info(void *data);

// A chip-type record; 0 or -1.
int dm_lib_get_chip_info_by_type(int type, dp_lib_chip_info_t *pinfo);
