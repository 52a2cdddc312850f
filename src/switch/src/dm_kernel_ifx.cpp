// The kernel interface-index channel: the two questions the device-manager
// driver answers (interface index of a port, interface manager's key of an
// interface index; request and buffer layout in dm_kdev.h), and the supported
// link-layer types.
#include "dm_kernel_ifx.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "dm_diag.h"
#include "dm_kdev.h"

namespace {

// The Ethernet link-layer types, without the two management types.
const int dm_support_llcb_type[] = {
    LLCB_FASTETHERNET,          LLCB_GIGABITETHERNET,         LLCB_TGIGABITETHERNET,
    LLCB_FORTY_GIGABITETHERNET, LLCB_HUNDRED_GIGABITETHERNET, LLCB_25G_ETHERNET,
    LLCB_FIFTY_GIGABITETHERNET, LLCB_TH_GIGABITETHERNET,      LLCB_FH_GIGABITETHERNET,
};
const int dm_support_llcb_type_num = sizeof dm_support_llcb_type / sizeof dm_support_llcb_type[0];

// Writes the head and the question into a zeroed buffer.
void dm_ioctl_fill(unsigned char *buf, uint32_t type, const void *question, int32_t len)
{
    const dm_pd_msg_head_t head = {type, len};
    std::memcpy(buf, &head, sizeof head);
    std::memcpy(buf + sizeof head, question, static_cast<size_t>(len));
}

// Opens the device, asks, closes. 0 and the driver's answer, or -1 after a
// warning.
int dm_ioctl_ask(unsigned char *buf, int32_t *answer)
{
    const int fd = open(DM_KDEV_PATH, O_RDONLY);
    if (fd < 0) {
        DM_WARN("open fail(%s)\r\n", strerror(errno));
        return -1;
    }
    int ret = -1;
    if (ioctl(fd, DM_KDEV_REQUEST, buf) != 0) {
        DM_WARN("ioctl fail(%s)\r\n", strerror(errno));
    } else {
        std::memcpy(answer, buf, sizeof *answer);
        ret = 0;
    }
    close(fd);
    return ret;
}

}  // namespace

int dm_lsm_cnvt_dmtype_to_llcbtype(int dmtype) { return dm_kdev_llcb_of_port_type(dmtype); }

int dm_kernel_get_ifx_from_port_info(dp_lib_port_t *dm_port_info, int *ifx)
{
    if (dm_port_info == nullptr || ifx == nullptr) {
        return -1;
    }
    dm_lsm_port_info_t question;
    question.lsm_key = dm_port_info->lsm_key;
    question.llcb_type = dm_lsm_cnvt_dmtype_to_llcbtype(dm_port_info->type);
    if (question.llcb_type == -1) {
        DM_WARN("type:%d dm_lsm_cnvt_dmtype_to_llcbtype fail\n", dm_port_info->type);
        return -1;
    }
    unsigned char buf[DM_KDEV_BUF_LEN] = {};
    dm_ioctl_fill(buf, DM_IOCTL_GET_IFX_FROM_PORT_INFO, &question, sizeof question);
    int32_t answer;
    if (dm_ioctl_ask(buf, &answer) != 0) {
        return -1;
    }
    *ifx = answer;
    DM_VERBOSE("ifx: %x\r\n", answer);
    return 0;
}

int dm_kernel_get_lsm_key_from_ifx(int ifx, int *lsm_key)
{
    if (lsm_key == nullptr) {
        return -1;
    }
    auto *buf = static_cast<unsigned char *>(std::calloc(1, DM_KDEV_BUF_LEN));
    if (buf == nullptr) {
        DM_WARN("malloc fail(%s)\r\n", strerror(errno));
        return -1;
    }
    const int32_t question = ifx;
    dm_ioctl_fill(buf, DM_IOCTL_GET_PHYID_FROM_IFX, &question, sizeof question);
    int32_t answer;
    const int ret = dm_ioctl_ask(buf, &answer);
    std::free(buf);
    if (ret != 0) {
        return -1;
    }
    *lsm_key = answer;
    DM_VERBOSE("phyid: %x\r\n", answer);
    return 0;
}

bool dm_is_llcb_type_support(int llcb_type)
{
    int ret = 0;
    for (int i = 0; i < dm_support_llcb_type_num; ++i) {
        if (dm_support_llcb_type[i] == llcb_type) {
            ret = 1;
            break;
        }
    }
    DM_VERBOSE("llcb_type:%d, ret:%d\r\n", llcb_type, ret);
    return ret != 0;
}
