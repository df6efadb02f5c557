// Handing a child process on, the same on both systems.
#include <utility>

#include "system/Child.h"

HostChild::HostChild(HostChild&& other) noexcept {
    *this = std::move(other);
}

HostChild& HostChild::operator=(HostChild&& other) noexcept {
    std::swap(handle_, other.handle_);
    std::swap(id_, other.id_);
    std::swap(exitCode_, other.exitCode_);
    return *this;
}
