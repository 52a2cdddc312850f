// The card-type table (dm_card_table.cpp): data message 3 and the record
// copy-out every area reads card types through; its queries are exported
// (<dm_lib_pd/dm_card_table.h>).
#pragma once

#include "dp_pd_common.h"
#include <dm_lib_pd/dm_card_table.h>

int dm_card_table_init(void);

// Data message 3.
void dp_lib_card_cfg(void *data);

// This card's own card-type record; 0 or -1.
int dm_lib_get_my_card_cfg(dp_lib_card_type_info_t *card_info);
