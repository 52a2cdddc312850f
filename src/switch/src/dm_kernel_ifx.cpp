// The kernel interface-index channel: the two questions the device-manager
// driver answers on "tmp/dm_dev" (interface index of a port, interface
// manager's key of an interface index), the port-type to link-layer-type
// table, and the supported link-layer types.
#include "dm_kernel_ifx.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "dm_diag.h"

namespace {

// The interface manager's link-layer types this channel speaks of.
enum {
    LLCB_FASTETHERNET = 6,
    LLCB_GIGABITETHERNET = 7,
    LLCB_TGIGABITETHERNET = 8,
    LLCB_25G_ETHERNET = 9,
    LLCB_FORTY_GIGABITETHERNET = 10,
    LLCB_HUNDRED_GIGABITETHERNET = 11,
    LLCB_MGMT = 28,
    LLCB_VIRTUAL_MGMT = 41,
    LLCB_FIFTY_GIGABITETHERNET = 49,
    LLCB_TH_GIGABITETHERNET = 50,
    LLCB_FH_GIGABITETHERNET = 51,
};

// The driver's questions.
typedef enum {
    DM_IOCTL_GET_PHYID_FROM_IFX = 0,
    DM_IOCTL_GET_IFX_FROM_PORT_INFO = 1,
    DM_IOCTL_MAX_PD_MSG_TYPE = 2,
} dm_pd_ioctl_msg_type_t;

// Head of the ioctl buffer; the question follows it. The driver writes its
// 32-bit answer over dm_ioctl_msg_type.
typedef struct {
    uint32_t dm_ioctl_msg_type;  // dm_pd_ioctl_msg_type_t on the way in, the answer on return
    int32_t data_len;            // bytes of question that follow
} dm_pd_msg_head_t;

// A port as the interface manager knows it.
typedef struct {
    int32_t lsm_key;    // the port's key in the interface manager's view
    int32_t llcb_type;  // its link-layer type
} dm_lsm_port_info_t;

static_assert(sizeof(dm_pd_msg_head_t) == 8, "ioctl head is 8 bytes");
static_assert(sizeof(dm_lsm_port_info_t) == 8, "port question is 8 bytes");

constexpr unsigned long kDmIoctlRequest = 0xC1007815UL;  // read-write, 'x', 21, 256 bytes
constexpr char kDmDevPath[] = "tmp/dm_dev";

// The request code declares a 256-byte argument, so the driver may copy that
// much in and out whatever the question's size: every buffer handed to it is
// 256 bytes, zeroed, with the head and the question at their usual places,
// so its copy stays inside.
constexpr size_t kDmIoctlBufLen = 256;
static_assert(((kDmIoctlRequest >> 16) & 0x3FFF) == kDmIoctlBufLen, "request declares the buffer");

typedef struct {
    int dm_type;   // dm_port_type_t
    int lsm_type;  // its link-layer type
} dm_lsm_type_attr_t;

const dm_lsm_type_attr_t dm_lsm_port_type[] = {
    {PORT_FAST_ETHERNET, LLCB_FASTETHERNET},
    {PORT_GIGABIT_ETHERNET, LLCB_GIGABITETHERNET},
    {PORT_TGIGABIT_ETHERNET, LLCB_TGIGABITETHERNET},
    {PORT_FOGIGABIT_ETHERNET, LLCB_FORTY_GIGABITETHERNET},
    {PORT_HUGIGABIT_ETHERNET, LLCB_HUNDRED_GIGABITETHERNET},
    {PORT_VIRTUAL_MGMT, LLCB_VIRTUAL_MGMT},
    {PORT_MGMT, LLCB_MGMT},
    {PORT_TFGIGABIT_ETHERNET, LLCB_25G_ETHERNET},
    {PORT_FIFTYGIGABIT_ETHERNET, LLCB_FIFTY_GIGABITETHERNET},
    {PORT_THGIGABIT_ETHERNET, LLCB_TH_GIGABITETHERNET},
    {PORT_FHGIGABIT_ETHERNET, LLCB_FH_GIGABITETHERNET},
};

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
    const int fd = open(kDmDevPath, O_RDONLY);
    if (fd < 0) {
        DM_WARN("open fail(%s)\r\n", strerror(errno));
        return -1;
    }
    int ret = -1;
    if (ioctl(fd, kDmIoctlRequest, buf) != 0) {
        DM_WARN("ioctl fail(%s)\r\n", strerror(errno));
    } else {
        std::memcpy(answer, buf, sizeof *answer);
        ret = 0;
    }
    close(fd);
    return ret;
}

}  // namespace

int dm_lsm_cnvt_dmtype_to_llcbtype(int dmtype)
{
    for (const dm_lsm_type_attr_t &row : dm_lsm_port_type) {
        if (row.dm_type == dmtype) {
            return row.lsm_type;
        }
    }
    return -1;
}

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
    unsigned char buf[kDmIoctlBufLen] = {};
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
    auto *buf = static_cast<unsigned char *>(std::calloc(1, kDmIoctlBufLen));
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
