// Card-type configuration table, and the start-up of the configuration
// subsystem's three indexes.
#include "dm_static_tbl.h"

#include "dm_diag.h"

dm_index dm_card_cfg_root;
dm_index dm_chip_cfg_root;
dm_index dm_my_lport_phyid_root;

int dm_lib_static_tbl_init(void)
{
    if (dm_card_cfg_root.init() != 0) {
        DM_ERROR("fail to init dm_card_cfg_root!\n");
        return -1;
    }
    if (dm_my_lport_phyid_root.init() != 0) {
        DM_ERROR("fail to init dm_my_lport_phyid_root!\n");
        return -1;
    }
    if (dm_chip_cfg_root.init() != 0) {
        DM_ERROR("fail to init dm_chip_cfg_root!\n");
        return -1;
    }
    return 0;
}
