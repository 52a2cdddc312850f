// The port table's messages (dm_port_msgs.cpp): the handlers that add,
// re-key and remove ports, and the table's debug show.
#pragma once

#include "dm_host.h"

// Data messages 0, 1, 2 and show command 6.
void dp_lib_add_port(void *data);
void dp_lib_set_ifx(void *data);
void dp_lib_rmv_port(void *data);
void dm_lib_get_all_port_info(void);
