#include "filefaults.h"

#include <linux/capability.h>
#include <sys/syscall.h>
#include <csignal>
#include <unistd.h>

namespace {
constexpr unsigned kOverrides = (1u << CAP_DAC_OVERRIDE) | (1u << CAP_DAC_READ_SEARCH) | (1u << CAP_FOWNER);

bool changeEffective(bool drop)
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[2]{};
    if (syscall(SYS_capget, &header, data) != 0)
        return false;
    if (drop)
        data[0].effective &= ~kOverrides;
    else
        data[0].effective |= data[0].permitted & kOverrides;
    return syscall(SYS_capset, &header, data) == 0;
}
} // namespace

WithoutFileRights::WithoutFileRights()
{
    if (geteuid() != 0)
        return;
    m_dropped = changeEffective(true);
    m_active = m_dropped;
}

WithoutFileRights::~WithoutFileRights()
{
    if (m_dropped)
        changeEffective(false);
}

FileSizeLimit::FileSizeLimit(rlim_t bytes)
{
    // A write past the limit then fails with EFBIG instead of killing the process.
    m_oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &m_old);
    rlimit limit = m_old;
    limit.rlim_cur = bytes;
    setrlimit(RLIMIT_FSIZE, &limit);
}

FileSizeLimit::~FileSizeLimit()
{
    setrlimit(RLIMIT_FSIZE, &m_old);
    std::signal(SIGXFSZ, m_oldHandler);
}
