// The chassis port table: one heap record per port, reachable through four
// keyed indexes, and the handlers of the messages that change it.
#include "dm_dynamic_tbl.h"

#include "dm_diag.h"
#include "dm_lock.h"

// Guards the records' contents and the set of records as a whole; taken
// before any index lock (writers for a whole handler, readers for a lookup).
dm_rwlock dm_port_rwlock;
dm_index dm_ifx_root;            // ifx (never 0) -> record
dm_index dm_port_phyid_root;     // dm_phyid -> record; owns the records
dm_index dm_port_ss_phyid_root;  // slot_lport_phyid -> record
dm_index dm_port_lsm_key_root;   // lsm_key -> record

static int lib_dp_port_info_init(void)
{
    if (dm_ifx_root.init() != 0) {
        DM_ERROR("fail to init tree dm_ifx_root\n");
        return -1;
    }
    if (dm_port_phyid_root.init() != 0) {
        DM_ERROR("fail to init tree dm_port_phyid_root\n");
        return -1;
    }
    if (dm_port_ss_phyid_root.init() != 0) {
        DM_ERROR("fail to init tree dm_port_ss_phyid_root\n");
        return -1;
    }
    if (dm_port_lsm_key_root.init() != 0) {
        DM_ERROR("fail to init tree dm_port_lsm_key_root");
        return -1;
    }
    return 0;
}

int dm_lib_dynamic_tbl_init(void)
{
    return lib_dp_port_info_init() == 0 ? 0 : -1;
}
