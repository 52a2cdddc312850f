/*
 * dm_local_port.h - this card's local ports.
 *
 * Part of the dm_lib_pd query interface. Unless a function says otherwise:
 * results are 0 on success and -1 on failure; out-parameters are written only
 * on success; every function may be called from any thread at any time after
 * the library is loaded; records are copied out under the owning table's read
 * lock, and no pointer into a table is ever handed out.
 */
#ifndef DM_LIB_PD_LOCAL_PORT_H
#define DM_LIB_PD_LOCAL_PORT_H

#include <stdbool.h>

#include <dm_lib_pd/dm_types.h>

#ifdef __cplusplus
extern "C" {
#endif

DM_API int dm_get_my_lport_num(void);
DM_API int dm_get_my_lport_num_by_sub_slot(int sub_slot, int *port_num);
DM_API int dm_get_my_card_multi_lport(int *lport, int *num);
DM_API int dm_local_get_slot_lport_from_unit_port(int unit, int port, int *slot, int *lport);
DM_API int dm_local_get_unit_port_from_slot_lport(int slot, int lport, int *unit, int *port);
DM_API int dm_local_get_pinfo_by_lport_phyid(int lport_phyid, dp_lib_lport_t *info);
DM_API void dm_show_all_local_port(void);

#ifdef __cplusplus
}
#endif

#endif /* DM_LIB_PD_LOCAL_PORT_H */
