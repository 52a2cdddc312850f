// Management ports (dm_phy_mgmt.cpp): data message 7, the table's clearing at
// start-up; its queries and show command 9 are exported (<dm_lib_pd/dm_phy_mgmt.h>).
#pragma once

#include <dm_lib_pd/dm_phy_mgmt.h>

void dp_lib_set_phy_mgmt_ifx(void *data);
void dm_phy_mgmt_clear(void);
