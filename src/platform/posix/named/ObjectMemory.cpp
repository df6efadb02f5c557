#include "platform/posix/named/ObjectMemory.h"

#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {

constexpr char kMagic[8] = {'F', 'W', 'O', 'B', 'J', '0', '0', '1'};

// 0 or an errno.
int MakeMutex(pthread_mutex_t* mutex, bool owned) {
    pthread_mutexattr_t attributes;
    int error = pthread_mutexattr_init(&attributes);
    if (error != 0) {
        return error;
    }
    for (const int step : {pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED),
                           pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST),
                           pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE),
                           pthread_mutex_init(mutex, &attributes)}) {
        error = error != 0 ? error : step;
    }
    pthread_mutexattr_destroy(&attributes);
    return error == 0 && owned ? pthread_mutex_trylock(mutex) : error;  // no other thread knows it
}

}  // namespace

ObjectMemory::~ObjectMemory() {
    if (m_start != nullptr) {
        munmap(m_start, m_bytes);
    }
}

ObjectMemory ObjectMemory::Map(int file, std::uint64_t bytes) {
    ObjectMemory memory;
    const int flags = MAP_SHARED | (file < 0 ? MAP_ANONYMOUS : 0);
    void* const start = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, flags, file, 0);
    if (start != MAP_FAILED) {
        memory.m_start = start;
        memory.m_bytes = bytes;
    }
    return memory;
}

bool ObjectMemory::Fill(const ObjectName& name, const NewObject& wanted) const {
    ObjectHeader* const target = header();
    target->size = wanted.size;
    target->pidNamespace = name.pidNamespace;
    target->kind = static_cast<std::uint32_t>(wanted.kind);
    target->manualReset = wanted.manualReset ? 1 : 0;
    target->local = name.local ? 1 : 0;
    name.text.copy(target->name, kObjectNameCapacity - 1);
    if (wanted.kind == NamedKind::Event) {
        target->word.store(wanted.initial ? 1 : 0);
    }
    const int error =
        wanted.kind == NamedKind::Mutex ? MakeMutex(&target->mutex, wanted.initial) : 0;
    if (error != 0) {
        errno = error;
        return false;
    }
    std::memcpy(target->magic, kMagic, sizeof kMagic);
    return true;
}

bool ObjectMemory::IsOf(const ObjectName& name) const {
    const ObjectHeader& found = *header();
    return std::memcmp(found.magic, kMagic, sizeof kMagic) == 0 && found.size <= Capacity() &&
           found.kind <= static_cast<std::uint32_t>(NamedKind::Mapping) &&
           found.pidNamespace == name.pidNamespace && (found.local != 0) == name.local &&
           name.text.size() < kObjectNameCapacity && found.name[name.text.size()] == 0 &&
           std::equal(name.text.begin(), name.text.end(), found.name);
}
