// This card's local-port table (dm_local_port_table.cpp): data message 5;
// its queries and show are exported (<dm_lib_pd/dm_local_port.h>).
#pragma once

#include "dm_diag.h"
#include "dp_pd_common.h"
#include <dm_lib_pd/dm_local_port.h>

// Sets the table up; a failure is reported under the caller's name.
int dm_local_port_table_init(dm_site at);

// Data message 5.
void dp_lib_set_my_lport(void *data);
// Payload bytes data message 5 announces: 4 + 52 x lport_num (4 for a
// negative count, which the handler refuses itself).
long long dp_lib_my_lport_msg_len(const void *data, int len);
