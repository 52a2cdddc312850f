/*
 * dm_split_port.h - child ports of split (parent) ports: local, global and _gms families.
 *
 * Part of the dm_lib_pd query interface. Unless a function says otherwise:
 * results are 0 on success and -1 on failure; out-parameters are written only
 * on success; every function may be called from any thread at any time after
 * the library is loaded; records are copied out under the owning table's read
 * lock, and no pointer into a table is ever handed out.
 */
#ifndef DM_LIB_PD_SPLIT_PORT_H
#define DM_LIB_PD_SPLIT_PORT_H

#include <stdbool.h>

#include <dm_lib_pd/dm_types.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Split ports.
 *
 * A parent port can be split into child ports (lports of the same card) in
 * up to 4 modes, each with an id and its own number of children (at most 32
 * in all); mode -1 asks for the port's default mode. A query answers the chip
 * unit of the children and their chip ports:
 *   dm_local_*  a port of this card by lport: split description from this
 *               card's local port table, unit and chip ports from its card type;
 *   dm_get_*    a port of any card by node and lport: description from the
 *               port's record in the port table when it is a parent, else from
 *               this card's local port table at the same unit and chip port;
 *               unit and chip ports from the node's card type;
 *   *_gms       the port table alone: the parent's record gives the description
 *               and the unit, each child's record its chip port.
 * Sub-cards (DM_TYPE_SUB_LC) are refused by the dm_get_* and _gms queries.
 *
 * Output arrays belong to the caller, who sizes them (no size is passed):
 * child_port for the selected mode's children (all modes' children in the
 * all-modes queries), at most 32; mode_id and port_num for the modes, at most
 * 4. Outputs are meaningful only on success: the unit and, in the _gms
 * family, the children found before a failure may already be written.
 *
 * A split description that claims more than 4 modes or more than 32
 * children is refused (warning "invalid split info: mode num %d, child port
 * num %d.") and never read past its arrays.
 *
 * Any thread; each record is copied out under its table's read lock, parent
 * and children in separate lookups. Failures print warnings (a sub-card an
 * error); bad arguments print "Invalid param..." / "Invalid node...".
 */

/* Children of mode `mode` (-1: default) of this card's port `lport` (0..255):
 * *unit, their chip ports in child_port, their count. 0; -1 on any failure,
 * including a mode without children. */
DM_API int dm_local_get_child_unit_port_by_spe_mode(int lport, int mode, int *unit, int *child_port,
                                                    int *child_port_num);
/* The same for the default mode. */
DM_API int dm_local_get_child_unit_port_from_lport(int lport, int *unit, int *child_port,
                                                   int *child_port_num);
/* Every mode of this card's port `lport`: *unit, mode_id[i], port_num[i] and
 * the children of all modes in mode order in child_port (note: child_port
 * before port_num). The number of modes (0 or more); -1 on failure. */
DM_API int dm_local_get_child_unit_port_with_all_mode(int lport, int *unit, int *mode_id,
                                                      int *child_port, int *port_num);
/* Children of mode `mode` (-1: default) of port `lport` of the card at
 * `node`. 0 (a mode without children gives a count of 0); -1 on any failure. */
DM_API int dm_get_child_unit_port_by_spe_mode(int node, int lport, int mode, int *unit,
                                              int *child_port, int *child_port_num);
/* The same for the default mode. */
DM_API int dm_get_child_unit_port_from_node_lport(int node, int lport, int *unit, int *child_port,
                                                  int *child_port_num);
/* Every mode of port `lport` of the card at `node` (port_num before
 * child_port). The number of modes; -1 on failure. */
DM_API int dm_get_child_unit_port_with_all_mode(int node, int lport, int *unit, int *mode_id,
                                                int *port_num, int *child_port);
/* Children of mode `mode` (-1: default) from the port table alone. 0 (a mode
 * without children gives a count of 0); -1 bad arguments; -2 the node is a
 * sub-card; -3 the parent port is not in the port table; -4 it is not a
 * parent; -5 no such mode, a child port missing from the port table, or a
 * description larger than its arrays. */
DM_API int dm_get_child_unit_port_by_spe_mode_gms(int node, int lport, int mode, int *unit,
                                                  int *child_port, int *child_port_num);
/* The same for the default mode. */
DM_API int dm_get_child_unit_port_from_node_lport_gms(int node, int lport, int *unit,
                                                      int *child_port, int *child_port_num);
/* Every mode from the port table alone (port_num before child_port). The
 * number of modes; -1 to -5 as the by-mode query. */
DM_API int dm_get_child_unit_port_with_all_mode_gms(int node, int lport, int *unit, int *mode_id,
                                                    int *port_num, int *child_port);

#ifdef __cplusplus
}
#endif

#endif /* DM_LIB_PD_SPLIT_PORT_H */
