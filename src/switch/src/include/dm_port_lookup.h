// Port getters by every identifier form (dm_port_lookup.cpp); the exported
// ones are in <dm_lib_pd/dm_port_lookup.h>.
#pragma once

#include "dm_diag.h"
#include "dm_port_table.h"
#include "dp_pd_common.h"
#include <dm_lib_pd/dm_port_lookup.h>

// Resolver for a phyid of form 6, 7 or 8: 0 with the record (or its head,
// dm_port_part) copied, or -1.
int dm_lib_get_pinfo_by_ssphyid(int phyid, dp_lib_port_t *pinfo,
                                dm_port_part part = dm_port_part::whole);

// dm_lib_get_pinfo_by_ssphyid for a getter: a miss is warned as `miss_text`
// (by default "can not find node!") under the getter's own name and line.
bool dm_resolve_at(dm_site at, int phyid, dp_lib_port_t *rec,
                   const char *miss_text = "can not find node!\n",
                   dm_port_part part = dm_port_part::whole);
// The same for a getter that reads only the record's head.
#define DM_RESOLVE(phyid, rec) \
    dm_resolve_at(DM_HERE, (phyid), (rec), "can not find node!\n", dm_port_part::head)

// The frame every phyid getter shares, said under the getter's name: a
// missing out-parameter is refused ("param error!", -1); the phyid is traced
// as "<label> phyid = %x!" (label: the getter's name, or the name it has
// always printed); a phyid that leads to no port is warned and answered
// `miss`. 0 with the record (or its head) copied into *rec.
int dm_port_open(dm_site at, bool outs_missing, const char *label, int phyid, dp_lib_port_t *rec,
                 int miss = -1, const char *miss_text = "can not find node!\n",
                 dm_port_part part = dm_port_part::whole);
// The frame of a getter that reads only the record's head.
#define DM_PORT_OPEN(outs_missing, phyid, rec)                                                  \
    dm_port_open(DM_HERE, (outs_missing), __func__, (phyid), (rec), -1, "can not find node!\n", \
                 dm_port_part::head)

// dm_port_open, then `fill(record)` (which answers 0 or an error of its own)
// when the port was found. `fill` prints nothing: its messages would carry
// the lambda's name.
template <class Fill>
int dm_port_get(dm_site at, bool outs_missing, const char *label, int phyid, int miss, Fill fill,
                dm_port_part part = dm_port_part::whole)
{
    dp_lib_port_t rec;
    const int rc =
        dm_port_open(at, outs_missing, label, phyid, &rec, miss, "can not find node!\n", part);
    return rc == 0 ? fill(rec) : rc;
}
// The same for a getter whose `fill` reads only the record's head.
#define DM_PORT_GET(outs_missing, phyid, fill) \
    dm_port_get(DM_HERE, (outs_missing), __func__, (phyid), -1, (fill), dm_port_part::head)
