// Guard pages around a test block: one VirtualAlloc'ed region, its first
// and last pages made inaccessible.
#include "guardbuffer.h"

#include <cstring>

namespace lxtest {

GuardBuffer::GuardBuffer(size_t size, Flush flush) : size_(size) {
    SYSTEM_INFO si;
    GetSystemInfo(&si);
    const size_t page = si.dwPageSize;
    const size_t dataPages = (size + page - 1) / page;
    const size_t total = (dataPages + 2) * page;
    region_ = (BYTE *)VirtualAlloc(nullptr, total, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
    if (!region_) return;
    DWORD old;
    if (!VirtualProtect(region_, page, PAGE_NOACCESS, &old) ||
        !VirtualProtect(region_ + total - page, page, PAGE_NOACCESS, &old)) {
        VirtualFree(region_, 0, MEM_RELEASE);
        region_ = nullptr;
        return;
    }
    BYTE *first = region_ + page;
    data_ = flush == kStart ? first : first + dataPages * page - size;
}

GuardBuffer::GuardBuffer(const void *bytes, size_t size, Flush flush) : GuardBuffer(size, flush) {
    if (data_ && size) std::memcpy(data_, bytes, size);
}

GuardBuffer::~GuardBuffer() {
    if (region_) VirtualFree(region_, 0, MEM_RELEASE);
}

}  // namespace lxtest
