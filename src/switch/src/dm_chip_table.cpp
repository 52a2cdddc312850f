// Chip-type table: data message 4 and the record copy-out the chip queries
// read through.
#include "dm_chip_table.h"

#include <cstdint>
#include <cstring>

#include "dm_diag.h"
#include "dm_table.h"

namespace {

constexpr int kChipCfgLen = static_cast<int>(sizeof(dp_lib_chip_info_t));

// chip_type -> dp_lib_chip_info_t, a copy the host's insertion service owns.
dm_keyed_table<dp_lib_chip_info_t> dm_chip_cfg_root;

}  // namespace

int dm_chip_table_init(dm_site at) { return dm_chip_cfg_root.init(at, "dm_chip_cfg_root"); }

void dp_lib_set_chip_cfg_info(void *data)
{
    if (DM_NO_DATA(data)) {
        return;
    }
    int32_t chip_type;  // the payload may be unaligned
    std::memcpy(&chip_type,
                static_cast<const char *>(data) + offsetof(dp_lib_chip_info_t, chip_type),
                sizeof chip_type);
    DM_VERBOSE("get chip cfg type = %d.\n", chip_type);
    // The host's insertion service copies the record and takes the index's
    // write lock itself; no lock of ours is held around it.
    int ret =
        dp_lib_insert_data(data, kChipCfgLen, 0, dm_chip_cfg_root.insertion_root(), chip_type);
    DM_VERBOSE("ret = %d!\r\n", ret);
}

int dm_lib_get_chip_info_by_type(int type, dp_lib_chip_info_t *pinfo)
{
    DM_VERBOSE("type: %d\r\n", type);
    const int ret = dm_chip_cfg_root.copy_out(type, pinfo) ? 0 : -1;
    DM_VERBOSE("ret:%d\r\n", ret);
    return ret;
}
