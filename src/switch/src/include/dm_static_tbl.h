// Card-type, chip-type and local-port configuration tables.
#pragma once

#include "dm_host.h"
#include "dm_lock.h"
#include "dp_pd_common.h"

// The three indexes, started together by dm_lib_static_tbl_init.
extern dm_index dm_card_cfg_root;        // card_type -> dp_lib_card_type_info_t (host-owned copy)
extern dm_index dm_chip_cfg_root;        // chip_type -> dp_lib_chip_info_t (host-owned copy)
extern dm_index dm_my_lport_phyid_root;  // lport_phyid -> record inside the local port array

int dm_lib_static_tbl_init(void);

// Data messages 3, 4 and 5.
void dp_lib_card_cfg(void *data);
void dp_lib_set_chip_cfg_info(void *data);
void dp_lib_set_my_lport(void *data);
// Payload bytes data message 5 announces: 4 + 52 x lport_num (4 for a
// negative count, which the handler refuses itself).
long long dp_lib_my_lport_msg_len(const void *data, int len);

// This card's own card-type record; 0 or -1.
int dm_lib_get_my_card_cfg(dp_lib_card_type_info_t *card_info);
// A chip-type record; 0 or -1.
int dm_lib_get_chip_info_by_type(int type, dp_lib_chip_info_t *pinfo);
