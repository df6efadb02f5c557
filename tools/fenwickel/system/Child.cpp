// Handing a child process on, the same on both systems.
#include <utility>

#include "system/Child.h"

HostChild::HostChild(HostChild&& other) noexcept {
    *this = std::move(other);
}

HostChild& HostChild::operator=(HostChild&& other) noexcept {
    std::swap(m_handle, other.m_handle);
    std::swap(m_id, other.m_id);
    std::swap(m_exitCode, other.m_exitCode);
    return *this;
}
