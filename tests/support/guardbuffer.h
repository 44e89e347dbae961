// A block of test bytes placed flush against a PAGE_NOACCESS page, so that
// a read one byte past its end (or, placed at the start, one byte before
// it) faults at once instead of passing unnoticed.
#ifndef GUARDBUFFER_H
#define GUARDBUFFER_H

#include <windows.h>
#include <cstddef>

namespace lxtest {

class GuardBuffer {
public:
    enum Flush { kEnd, kStart };

    // size bytes, zero-filled; guard pages on both sides, the block touching
    // the one that flush names.
    explicit GuardBuffer(size_t size, Flush flush = kEnd);
    // The same, holding a copy of bytes.
    GuardBuffer(const void *bytes, size_t size, Flush flush = kEnd);
    ~GuardBuffer();
    GuardBuffer(const GuardBuffer &) = delete;
    GuardBuffer &operator=(const GuardBuffer &) = delete;

    bool ok() const { return region_ != nullptr; }
    BYTE *data() const { return data_; }
    size_t size() const { return size_; }

private:
    BYTE *region_ = nullptr;
    BYTE *data_ = nullptr;
    size_t size_ = 0;
};

}  // namespace lxtest

#endif
