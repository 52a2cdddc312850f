/*
 * dm_pre_inst.h - whether a port is on a pre-installed card.
 *
 * Part of the dm_lib_pd query interface. Unless a function says otherwise:
 * results are 0 on success and -1 on failure; out-parameters are written only
 * on success; every function may be called from any thread at any time after
 * the library is loaded; records are copied out under the owning table's read
 * lock, and no pointer into a table is ever handed out.
 */
#ifndef DM_LIB_PD_PRE_INST_H
#define DM_LIB_PD_PRE_INST_H

#include <stdbool.h>

#include <dm_lib_pd/dm_types.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Whether the port `phyid` (form 6, 7 or 8) sits on a pre-installed card:
 * a card of the list the data-plane master sends once the ports of those
 * cards are synchronised (data message 15, taken once per process and
 * announced by device event DEV_MSG_PRE_INST_PORT_SYNC_DONE). The port's
 * record matches a listed card by device, slot, and the slot under which the
 * interface manager presents the port (not its sub-slot).
 *
 * Results: 0 with *is_pre_inst written; -1 null is_pre_inst (warning
 * "param error!"); -2 the list has not arrived (warning "dm_port_pre_inst_done
 * is false, info is not ready."); -3 no such port (warning "get pinfo fail!").
 * Any thread; takes no lock of its own (the list never changes once it is
 * published) and reads the port record under the port table's read locks.
 */
DM_API int dm_get_pre_inst_by_phyid(int phyid, bool *is_pre_inst);

#ifdef __cplusplus
}
#endif

#endif /* DM_LIB_PD_PRE_INST_H */
