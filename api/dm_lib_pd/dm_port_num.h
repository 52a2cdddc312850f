/*
 * dm_port_num.h - card and slot port-number queries, PoE and CPU port.
 *
 * Part of the dm_lib_pd query interface. Unless a function says otherwise:
 * results are 0 on success and -1 on failure; out-parameters are written only
 * on success; every function may be called from any thread at any time after
 * the library is loaded; records are copied out under the owning table's read
 * lock, and no pointer into a table is ever handed out.
 */
#ifndef DM_LIB_PD_PORT_NUM_H
#define DM_LIB_PD_PORT_NUM_H

#include <stdbool.h>

#include <dm_lib_pd/dm_types.h>

#ifdef __cplusplus
extern "C" {
#endif

DM_API int dm_get_min_port_num(int devno, int slotid, int *min_port);
DM_API int dm_get_max_port_num(int devno, int slotid, int *max_port);
DM_API int dm_get_local_card_max_port(int slot, int sub_slot, int *max_port);
DM_API int dm_local_check_slot_lport(int slot, int lport);
DM_API int dm_get_dev_type_from_port_phyid(int port_phyid, int *lc_type);
DM_API int dm_get_poe_support_by_phyid(int phyid, bool *poe_support);
DM_API int dm_get_chip_cmic_port(int chipid);

#ifdef __cplusplus
}
#endif

#endif /* DM_LIB_PD_PORT_NUM_H */
