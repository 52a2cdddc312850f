// The handler set the library registers with the host: it checks every
// data-plane message, routes it by identifier, answers the port-validity
// request, runs the batch end and serves the debug show commands.
#include "dm_dev_info_client.h"

#include <algorithm>
#include <cstring>

#include "dm_card_table.h"
#include "dm_chip_table.h"
#include "dm_chipid_sync.h"
#include "dm_diag.h"
#include "dm_event_bridge.h"
#include "dm_fc_lists.h"
#include "dm_local_port_table.h"
#include "dm_phy_mgmt.h"
#include "dm_port_msgs.h"
#include "dm_pre_inst.h"

namespace {

constexpr int kMsgHeadLen = static_cast<int>(sizeof(dp_lib_msg_h_t));

// Data messages by identifier, scanned in order up to the closing row.
const dm_info_data_handle_t dp_pd_data_handle[] = {
    {DP_LIB_MSG_PORT_INFO, dp_lib_add_port, static_cast<int>(sizeof(dp_lib_port_t)), nullptr},
    {DP_LIB_MSG_PORT_IFX, dp_lib_set_ifx, static_cast<int>(sizeof(dp_lib_port_ifx_msg_t)), nullptr},
    {DP_LIB_MSG_PORT_RMV, dp_lib_rmv_port, static_cast<int>(sizeof(int32_t)), nullptr},
    {DP_LIB_MSG_CARD_CFG, dp_lib_card_cfg, static_cast<int>(sizeof(dp_lib_card_type_info_t)),
     nullptr},
    {DP_LIB_MSG_CHIP_CFG, dp_lib_set_chip_cfg_info, static_cast<int>(sizeof(dp_lib_chip_info_t)),
     nullptr},
    {DP_LIB_MSG_MY_LPORT_CFG, dp_lib_set_my_lport, DP_LIB_MY_LPORT_HEAD_LEN,
     dp_lib_my_lport_msg_len},
    {DP_LIB_MSG_PHY_MGMT_IFX, dp_lib_set_phy_mgmt_ifx,
     static_cast<int>(sizeof(dp_lib_phy_mgmt_ifx_msg_t)), nullptr},
    {DP_LIB_MSG_FC_START_CFG_BEGIN, dm_fc_lib_start_cfg_begin, static_cast<int>(sizeof(int32_t)),
     nullptr},
    {DP_LIB_MSG_FC_START_CFG, dm_fc_lib_start_cfg, DP_LIB_FC_CFG_HEAD_LEN, dm_fc_lib_chunk_len},
    {DP_LIB_MSG_FC_START_CFG_OVER, dm_fc_lib_start_cfg_over, 0, nullptr},
    {DP_LIB_MSG_FC_SAVE_CFG_BEGIN, dm_fc_lib_save_cfg_begin, static_cast<int>(sizeof(int32_t)),
     nullptr},
    {DP_LIB_MSG_FC_SAVE_CFG, dm_fc_lib_save_cfg, DP_LIB_FC_CFG_HEAD_LEN, dm_fc_lib_chunk_len},
    {DP_LIB_MSG_FC_SAVE_CFG_OVER, dm_fc_lib_save_cfg_over, 0, nullptr},
    {DP_LIB_MSG_PORT_PRE_INST_DONE, dp_lib_port_pre_inst_done_handle,
     static_cast<int>(sizeof(dp_lib_per_inst_info_t)), nullptr},
    {-1, nullptr, 0, nullptr},  // end of table
};

// The port-validity request's payload, and the room its reply may take: the
// host's request buffer holds at least DM_HOST_RPC_REPLY_ROOM bytes.
constexpr int kPortValidLen = static_cast<int>(sizeof(dm_port_valid_t));
constexpr int kRpcReplyLen = DM_HOST_RPC_REPLY_ROOM;
constexpr size_t kRpcWorkLen = kMsgHeadLen + kRpcReplyLen;

// Request-reply messages; a request shorter than fixed_len is refused.
const dm_info_rpc_handle_t dp_pd_rpc_handle[] = {
    {DP_LIB_MSG_PORT_VALID, dp_lib_port_valid_judge, kPortValidLen},
};

// Show commands, all matching rows run, up to the closing row.
const dm_info_show_handle_t dp_pd_show_handle[] = {
    {DP_LIB_DBG_SHOW_ALL_PORT, dm_lib_get_all_port_info},
    {DP_LIB_DBG_SHOW_MGMT, dm_lib_show_all_phy_mgmt_ifx},
    {DP_LIB_DBG_SHOW_FC_START_CFG, test_dm_get_fc_startup_cfg},
    {DP_LIB_DBG_SHOW_FC_SAVE_CFG, test_dm_get_fc_save_cfg},
    {DP_LIB_FC_DBG_LEVEL, test_dm_fc_dbg_level},
    {-1, nullptr},  // end of table
};

// Reads the header of a message of `buf_len` bytes. Refuses a buffer shorter
// than the header, a negative length on either side (both would otherwise
// pass the size comparisons as huge unsigned values), and a payload that
// runs past the buffer.
bool dm_read_msg_head(const void *buf, int buf_len, dp_lib_msg_h_t *head)
{
    if (buf == nullptr || buf_len < kMsgHeadLen) {
        return false;
    }
    std::memcpy(head, buf, sizeof *head);
    return head->len >= 0 &&
           static_cast<long long>(buf_len) >= head->len + static_cast<long long>(kMsgHeadLen);
}

long long dm_data_row_len(const dm_info_data_handle_t &row, const void *payload, int len)
{
    return row.needed_len != nullptr ? row.needed_len(payload, len) : row.fixed_len;
}

// The keyed tables; a failure is reported under this function's name.
int dm_lib_static_tbl_init(void)
{
    const dm_site at = DM_HERE;
    return dm_card_table_init(at) != 0 || dm_local_port_table_init(at) != 0 ||
                   dm_chip_table_init(at) != 0
               ? -1
               : 0;
}

}  // namespace

int dm_dev_info_client_init(void)
{
    DM_VERBOSE("init begin\n");
    int ret = 0;
    if (dm_lib_static_tbl_init() != 0) {
        DM_VERBOSE("ret = %d\n", -1);
        return -1;
    }
    dm_phy_mgmt_clear();
    lib_modu_handle_t handles = {
        dm_dev_info_client_data_handle,  dm_dev_info_client_rpc_handle,        nullptr,
        dm_dev_info_client_batch_handle, dm_dev_info_client_debug_show_handle,
    };
    ret = dm_dp_lib_reg_dispatch_msg_handler(DP_LIB_MOD_PD, &handles);
    if (ret != 0) {
        DM_VERBOSE("ret = %d\n", ret);
        return -1;
    }
    return 0;
}

void dm_dev_info_client_data_handle(void *data_buf, int data_len)
{
    dp_lib_msg_h_t head;
    if (!dm_read_msg_head(data_buf, data_len, &head) || head.module != DP_LIB_MOD_PD) {
        DM_WARN("param error!\n");
        return;
    }
    DM_VERBOSE("get msg to dp id = %d!\n", head.msgid);
    void *payload = static_cast<char *>(data_buf) + kMsgHeadLen;
    for (int i = 0; dp_pd_data_handle[i].data_f != nullptr; ++i) {
        const dm_info_data_handle_t &row = dp_pd_data_handle[i];
        if (row.msgid != head.msgid) {
            continue;
        }
        DM_VERBOSE(">>>>i = %d\r\n", i);
        // Handlers trust the counts in their payload: refuse a message whose
        // payload is shorter than what its handler will read.
        const long long need = dm_data_row_len(row, payload, head.len);
        if (head.len < need) {
            DM_WARN("msg %d is too short: len %d, need %lld!\n", head.msgid, head.len, need);
            return;
        }
        row.data_f(payload);
        return;
    }
    DM_WARN("msg %d is not support!\n", head.msgid);
}

void dm_dev_info_client_rpc_handle(void *req_buf, int req_len, int *ack_len)
{
    dp_lib_msg_h_t head;
    if (ack_len == nullptr || !dm_read_msg_head(req_buf, req_len, &head)) {
        DM_WARN("param error!\n");
        return;
    }
    DM_VERBOSE("dp rpc handle, msg(%d)\n", head.msgid);
    int ret = -1;
    for (size_t i = 0; i < sizeof dp_pd_rpc_handle / sizeof dp_pd_rpc_handle[0]; ++i) {
        const dm_info_rpc_handle_t &row = dp_pd_rpc_handle[i];
        if (row.msgid != head.msgid) {
            continue;
        }
        DM_VERBOSE(">>>>i = %d\r\n", static_cast<int>(i));
        if (head.len < row.fixed_len) {
            DM_WARN("msg %d is too short: len %d, need %d!\n", head.msgid, head.len, row.fixed_len);
            break;
        }
        // The handler works on a copy with room for the largest reply, so it
        // never reads past a short request; the reply (at most 128 bytes, the
        // room the host's request buffer has) is then copied over the request.
        alignas(8) unsigned char work[kRpcWorkLen] = {};
        std::memcpy(work, req_buf, std::min<size_t>(static_cast<size_t>(req_len), sizeof work));
        ret = row.rpc_f(work, ack_len);
        std::memcpy(req_buf, work, static_cast<size_t>(*ack_len));
        break;
    }
    DM_VERBOSE("ret = %d\n", ret);
}

void dm_dev_info_client_batch_handle(int batch_flag)
{
    if (batch_flag != SYNC_BATCH_OVER) {
        return;
    }
    dp_lib_role_batch_local();
    hotplug_lib_batch_local();
    dtm_lib_batch_over_handle();
    hotplug_lib_batch_install();
    addr_lib_notity_dcm_ready();
    addr_lib_batch_notify_alloc_event();
    dm_card_sub_pre_insert_noti_batch();
    dp_lib_role_batch_global();
    hotplug_lib_batch_global();
    hotplug_lib_batch_dp_complete();
    dm_check_ldp_probe_noti_batch();
}

void dm_dev_info_client_debug_show_handle(int para)
{
    DM_DETAIL("recv para: %d\r\n", para);
    for (int i = 0; dp_pd_show_handle[i].show_f != nullptr; ++i) {
        if (dp_pd_show_handle[i].para == para) {
            dp_pd_show_handle[i].show_f();
        }
    }
}

int dp_lib_port_valid_judge(void *req_buf, int *ack_len)
{
    *ack_len = 0;
    dm_port_valid_t req;
    std::memcpy(&req, static_cast<const char *>(req_buf) + kMsgHeadLen, sizeof req);

    struct {
        dev_msg_t h;
        dm_port_valid_t v;
    } msg = {};
    msg.h.msg_id = DEV_MSG_PORT_VALID;
    msg.h.data_len = kPortValidLen;
    msg.v.node = req.node;
    msg.v.lport = req.lport;
    msg.v.valid = req.valid;

    unsigned char ret_buf[kRpcReplyLen];
    int ret_len = 0;
    int ret = dm_dev_rpc_handle_pd(&msg.h, ret_buf + 4, kRpcReplyLen - 4, &ret_len);
    // The application was given 124 bytes of room; a reply that claims more,
    // or a negative length, is refused rather than copied.
    if (ret == 0 && (ret_len < 0 || ret_len > kRpcReplyLen - 4)) {
        DM_WARN("rpc reply length %d out of range!\n", ret_len);
        ret = -1;
    }
    const int32_t result = ret;
    std::memcpy(ret_buf, &result, sizeof result);
    *ack_len = ret != 0 ? 4 : 4 + ret_len;
    std::memcpy(req_buf, ret_buf, static_cast<size_t>(*ack_len));
    return 0;
}
