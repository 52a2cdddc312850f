// The card-type table (dm_card_table.cpp): data message 3 and the record
// copy-out every area reads card types through; its queries are exported
// (<dm_lib_pd/dm_card_table.h>).
#pragma once

#include "dm_diag.h"
#include "dp_pd_common.h"
#include <dm_lib_pd/dm_card_table.h>

// Sets the table up; a failure is reported under the caller's name.
int dm_card_table_init(dm_site at);

// Data message 3.
void dp_lib_card_cfg(void *data);

// This card's own card-type record; 0 or -1.
int dm_lib_get_my_card_cfg(dp_lib_card_type_info_t *card_info);

// dm_lib_get_card_cfg_by_type for a query: true with the record; a miss is
// warned again under the caller's name, as "can not find node!" unless the
// query words it otherwise.
bool dm_card_cfg_at(dm_site at, int type, dp_lib_card_type_info_t *cfg,
                    const char *miss_text = "can not find node!\n");
#define DM_CARD_CFG(type, cfg) dm_card_cfg_at(DM_HERE, (type), (cfg))
