// Port getters by every identifier form (dm_port_lookup.cpp); the exported
// ones are in <dm_lib_pd/dm_port_lookup.h>.
#pragma once

#include "dp_pd_common.h"
#include <dm_lib_pd/dm_port_lookup.h>

// Resolver for a phyid of form 6, 7 or 8: 0 with the record copied, or -1.
int dm_lib_get_pinfo_by_ssphyid(int phyid, dp_lib_port_t *pinfo);

// dm_lib_get_pinfo_by_ssphyid for a getter: a miss is warned as "can not
// find node!" under the getter's own name and line, the way every getter
// reports it.
bool dm_resolve_for(const char *func, int line, int phyid, dp_lib_port_t *rec);
#define DM_RESOLVE(phyid, rec) dm_resolve_for(__func__, __LINE__, (phyid), (rec))
