// Mappings: named memory without a file.
#include "platform/posix/named/NamedObject.h"

namespace {

class Mapping final : public Object {
public:
    explicit Mapping(NamedUse use) : Object(ObjectKind::Mapping), m_use(std::move(use)) {}
    NamedObject* object() const { return m_use.get(); }

private:
    NamedUse m_use;
};

bool IsViewAccess(DWORD access) {
    return access == FILE_MAP_ALL_ACCESS ||
           (access != 0 && (access & ~(FILE_MAP_READ | FILE_MAP_WRITE)) == 0);
}

}  // namespace

HANDLE CreateFileMappingW(HANDLE file, SECURITY_ATTRIBUTES* security, DWORD protection,
                          DWORD sizeHigh, DWORD sizeLow, const WCHAR* name) {
    if (FaultFails("CreateFileMappingW")) {
        return nullptr;
    }
    if (file != INVALID_HANDLE_VALUE || protection != PAGE_READWRITE || name == nullptr) {
        SetLastError(ERROR_NOT_SUPPORTED);
        return nullptr;
    }
    NewObject wanted;
    wanted.kind = NamedKind::Mapping;
    wanted.size = std::uint64_t{sizeHigh} << 32 | sizeLow;
    if (wanted.size == 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    return HandleOf<Mapping>(CreateNamed(name, wanted, security));
}

HANDLE OpenFileMappingW(DWORD, BOOL inherit, const WCHAR* name) {
    if (FaultFails("OpenFileMappingW")) {
        return nullptr;
    }
    return HandleOf<Mapping>(OpenNamed(name, NamedKind::Mapping, inherit));
}

void* MapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow, SIZE_T bytes) {
    if (FaultFails("MapViewOfFile")) {
        return nullptr;
    }
    auto* const object = ObjectOf<Mapping>(mapping, ObjectKind::Mapping);
    if (object == nullptr) {
        return nullptr;
    }
    if (!IsViewAccess(access) || offsetHigh != 0 || offsetLow != 0) {
        SetLastError(ERROR_NOT_SUPPORTED);
        return nullptr;
    }
    if (bytes > object->object()->memory.Capacity()) {
        SetLastError(ERROR_ACCESS_DENIED);
        return nullptr;
    }
    return AddView(object->object());
}

BOOL UnmapViewOfFile(const void* view) {
    if (FaultFails("UnmapViewOfFile")) {
        return FALSE;
    }
    const NamedUse use = TakeView(view);
    return use ? TRUE : Fail(ERROR_INVALID_ADDRESS);
}
