// Hostile sizes: every word of small valid images replaced by sizes that
// break walkers (0, 1, odd, one off the truth, the signed and unsigned
// extremes) and every truncation of them. Every call must return, with a
// status of the layer, the memory cursor inside its block, and each walk
// moving forward; the memory images sit against guard pages on either side,
// so a read outside them faults. A watchdog ends the program on a hang.
#include "riffimage.h"

#include "fileio/mriff.h"
#include "guardbuffer.h"

#include <cstdio>
#include <string>

#include "watchdog.h"

using namespace rifftest;
using lxtest::GuardBuffer;

using lxtest::Watchdog;

namespace {


struct Variant {
    std::string name;
    Bytes bytes;
};

std::vector<Variant> Variants(const char *image, const Bytes &img) {
    std::vector<Variant> out;
    char name[96];
    for (size_t at = 0; at + 4 <= img.size(); at += 2) {
        const DWORD truth = WordAt(img, at);
        const DWORD values[] = {0, 1, 3, truth - 1, truth + 1, 0x7FFFFFFF, 0x80000000, 0xFFFFFFF8, 0xFFFFFFFF};
        for (DWORD v : values) {
            Bytes b = img;
            PutWordAt(b, at, v);
            snprintf(name, sizeof name, "%s, word at %u = 0x%08lX", image, (unsigned)at, v);
            out.push_back({name, b});
        }
    }
    for (size_t len = 0; len <= img.size(); ++len) {
        snprintf(name, sizeof name, "%s cut to %u bytes", image, (unsigned)len);
        out.push_back({name, Bytes(img.begin(), img.begin() + len)});
    }
    return out;
}

struct Named {
    const char *name;
    Bytes bytes;
};

std::vector<Named> Images() {
    WAVEFORMATEX pcm = {};
    pcm.wFormatTag = 1;
    pcm.nChannels = 1;
    pcm.nSamplesPerSec = 8000;
    pcm.wBitsPerSample = 16;
    Bytes wave(44);
    tMRIFFSTREAM s;
    mriff_Init(&s, wave.data(), 0, 44);
    mriff_WriteWaveHeader(&s, &pcm, 6, 24);
    Bytes tail = Image().Raw(Filled(6)).List("INFO").Chunk("INAM", Text("ab")).Close().Finish();
    wave.insert(wave.end(), tail.begin(), tail.end());
    return {
        {"wave-like", WaveLike()},
        {"nested lists",
         Image().Riff("TEST").List("outr").List("innr").Chunk("a   ", Filled(1)).Close()
             .Chunk("b   ", Bytes{}).Close().Chunk("c   ", Filled(3)).Finish()},
        {"written wave header", wave},
    };
}

const DWORD kIds[] = {LXRIFF_FOURCC('f', 'm', 't', ' '), LXRIFF_FOURCC('d', 'a', 't', 'a'),
                      LXRIFF_ID_LIST, LXRIFF_FOURCC('z', 'e', 'r', 'o'),
                      LXRIFF_FOURCC('I', 'N', 'A', 'M'), LXRIFF_FOURCC('n', 'o', 'n', 'e')};
const DWORD kLists[] = {LXRIFF_ID_INFO, LXRIFF_FOURCC('a', 'd', 't', 'l'), LXRIFF_FOURCC('o', 'u', 't', 'r'),
                        LXRIFF_FOURCC('i', 'n', 'n', 'r'), LXRIFF_FOURCC('n', 'o', 'n', 'e')};

bool LayerStatus(HRESULT hr) {
    return hr == LX_S_OK || hr == LX_E_READ || hr == LX_E_NOTFOUND || hr == LXRIFF_E_NOTRIFF ||
           hr == LXRIFF_E_NOTLIST;
}

// ---- Memory ------------------------------------------------------------------

class MemoryRun {
public:
    MemoryRun(const Bytes &b, GuardBuffer::Flush flush) : g_(b.data(), b.size(), flush), len_((DWORD)b.size()) {
        mriff_Init(&s_, g_.data(), len_, len_);
    }

    void All() {
        DWORD room = 0, form = 0, size = 0, count = 0;
        BYTE buf[64];
        Check(mriff_ReadFileID(&s_, &room, &form), "ReadFileID");
        for (DWORD id : kIds) {
            Seek(0);
            LONG left = (LONG)len_;
            Check(mriff_FindChunkHeaderInRIFF(&s_, id, &size, &left), "FindChunkHeaderInRIFF");
            Seek(0);
            Check(mriff_FindChunkHeaderInRIFF(&s_, id, &size, nullptr), "FindChunkHeaderInRIFF unbounded");
            Seek(12);
            left = (LONG)room;
            if (Check(mriff_FindChunkHeader(&s_, id, &size, &left), "FindChunkHeader") == LX_S_OK) Payload(size);
        }
        for (DWORD type : kLists) {
            if (Check(mriff_FindListChunkFromStart(&s_, type, &size), "FindListChunkFromStart") == LX_S_OK) {
                LONG left = (LONG)size;
                Check(mriff_GetNumListEntries(&s_, &count, &left), "GetNumListEntries in list");
                EXPECT_LE(count, len_ / 8);
            }
            Seek(12);
            LONG left = (LONG)room;
            Check(mriff_FindListChunk(&s_, type, &size, &left), "FindListChunk");
        }
        Seek(12);
        Check(mriff_GetNumListEntries(&s_, &count, nullptr), "GetNumListEntries unbounded");
        EXPECT_LE(count, len_ / 8);
        EXPECT_EQ(12u < len_ ? 12u : len_, Pos());
        LONG left = (LONG)room;
        Check(mriff_GetInfoString(&s_, LXRIFF_FOURCC('I', 'N', 'A', 'M'), (char *)buf, sizeof buf, &left),
              "GetInfoString");
        Check(mriff_GetInfoString(&s_, LXRIFF_FOURCC('I', 'N', 'A', 'M'), (char *)buf, sizeof buf, nullptr),
              "GetInfoString unbounded");
        WAVEFORMATEX w;
        const HRESULT wfx = mriff_GetWfx(&w, g_.data(), len_, &size);
        EXPECT_TRUE(LayerStatus(wfx) || wfx == LX_E_FAIL) << "GetWfx " << std::hex << wfx;
        Walk();
    }

private:
    DWORD Pos() const { return (DWORD)(s_.current - s_.base); }
    void Seek(DWORD pos) { mriff_SetFilePointer(&s_, (LONG)pos, nullptr, FILE_BEGIN); }

    HRESULT Check(HRESULT hr, const char *call) {
        EXPECT_TRUE(LayerStatus(hr)) << call << " gave " << std::hex << hr;
        EXPECT_TRUE(s_.base <= s_.current && s_.current <= s_.dataEnd) << call;
        EXPECT_EQ(s_.base + len_, s_.dataEnd) << call;
        return hr;
    }

    // Reads of a found chunk's payload, each from the payload's start.
    void Payload(DWORD size) {
        const DWORD at = Pos();
        BYTE buf[64];
        Check(mriff_ReadDataBounded(&s_, buf, sizeof buf, size), "ReadDataBounded");
        Seek(at);
        tLXRIFFDATA d = {size, nullptr};
        Check(mriff_ReadDataAlloc(&s_, &d), "ReadDataAlloc");
        LxRiff_FreeData(&d);
        Seek(at);
        Check(mriff_ReadData(&s_, buf, size < sizeof buf ? size : sizeof buf), "ReadData");
        Seek(at - 8);
        DWORD type, listSize;
        Check(mriff_ReadListHeader(&s_, &type, &listSize), "ReadListHeader");
    }

    // The primitives, descending into lists: every step moves forward.
    void Walk() {
        Seek(12);
        DWORD steps = 0, id, size;
        for (;;) {
            const DWORD before = Pos();
            if (mriff_ReadChunkHeader(&s_, &id, &size) != LX_S_OK) break;
            if (id == LXRIFF_ID_LIST) {
                DWORD type, done;
                if (!mriff_ReadFile(&s_, &type, 4, &done, nullptr)) break;
            } else {
                mriff_SkipChunk(&s_, size);
            }
            ASSERT_GE(Pos(), before + 8);
            ASSERT_LE(++steps, len_ / 8);
        }
    }

    GuardBuffer g_;
    DWORD len_;
    tMRIFFSTREAM s_;
};

// ---- File --------------------------------------------------------------------

class FileRun {
public:
    FileRun(TempFile &f, const Bytes &b) : f_(f), b_(b), len_((DWORD)b.size()) { f_.Reset(b_); }

    void All() {
        DWORD room = 0, form = 0, size = 0, count = 0;
        Check(riff_ReadFileID(h(), &room, &form), "ReadFileID");
        Check(riff_GetFileSize(h(), &size), "GetFileSize");
        for (DWORD id : kIds) {
            LONG left = 0;
            if (Check(riff_FindChunkHeaderInRIFF(h(), id, &size, &left), "FindChunkHeaderInRIFF") == LX_S_OK) {
                EXPECT_LE(f_.Pos(), len_);
                Payload(size);
            }
            riff_SeekDataStart(h());
            Check(riff_FindChunkHeader(h(), id, &size, nullptr), "FindChunkHeader unbounded");
        }
        for (DWORD type : kLists) {
            if (Check(riff_FindListChunkFromStart(h(), type, &size), "FindListChunkFromStart") == LX_S_OK) {
                const DWORD at = f_.Pos();
                LONG left = (LONG)size;
                Check(riff_GetNumListEntries(h(), &count, &left), "GetNumListEntries in list");
                EXPECT_LE(count, len_ / 8);
                EXPECT_EQ(at, f_.Pos());
                left = (LONG)size;
                Check(riff_SeekListEntry(h(), count, &left), "SeekListEntry");
                f_.Seek(at);
                Check(riff_SeekListEntry(h(), 0xFFFFFFFF, nullptr), "SeekListEntry unbounded");
            }
        }
        riff_SeekDataStart(h());
        Check(riff_GetNumListEntries(h(), &count, nullptr), "GetNumListEntries unbounded");
        EXPECT_LE(count, len_ / 8);
        Walk();
        for (DWORD id : kIds) Delete(id, FALSE);
        for (DWORD type : kLists) Delete(type, TRUE);
    }

private:
    HANDLE h() const { return f_.h(); }

    HRESULT Check(HRESULT hr, const char *call) {
        EXPECT_TRUE(LayerStatus(hr)) << call << " gave " << std::hex << hr;
        return hr;
    }

    void Payload(DWORD size) {
        const DWORD at = f_.Pos();
        BYTE buf[64];
        Check(riff_ReadDataBounded(h(), buf, size, sizeof buf), "ReadDataBounded");
        f_.Seek(at);
        tLXRIFFDATA d = {size, nullptr};
        Check(riff_ReadDataAlloc(h(), &d), "ReadDataAlloc");
        LxRiff_FreeData(&d);
        f_.Seek(at);
        char text[64];
        DWORD chunkSize = size;
        Check(riff_ReadANSIString(h(), text, sizeof text, &chunkSize), "ReadANSIString");
        f_.Seek(at);
        Check(riff_ReadData(h(), buf, size < sizeof buf ? size : sizeof buf), "ReadData");
    }

    ULONGLONG Pos64() const {
        LONG high = 0;
        DWORD low = SetFilePointer(h(), 0, &high, FILE_CURRENT);
        return ((ULONGLONG)(DWORD)high << 32) | low;
    }

    void Walk() {
        riff_SeekDataStart(h());
        DWORD steps = 0, id, size;
        for (;;) {
            const ULONGLONG before = Pos64();
            if (riff_ReadChunkHeader(h(), &id, &size) != LX_S_OK) break;
            if (id == LXRIFF_ID_LIST) {
                DWORD type;
                if (riff_ReadData(h(), &type, 4) != LX_S_OK) break;
            } else {
                riff_SkipChunk(h(), size);
            }
            ASSERT_GE(Pos64(), before + 8);
            ASSERT_LE(++steps, len_ / 8);
        }
    }

    // Deleting never grows the file; the file is put back afterwards.
    void Delete(DWORD id, BOOL list) {
        f_.Reset(b_);
        DWORD deleted = 0;
        Check(riff_DeleteChunk(h(), id, &deleted, list), "DeleteChunk");
        EXPECT_LE(f_.Contents().size(), len_);
    }

    TempFile &f_;
    const Bytes &b_;
    DWORD len_;
};

TEST(RiffHostile, MemoryFamilyStaysInsideTheBlock) {
    Watchdog dog(20000);
    for (const Named &img : Images()) {
        for (const Variant &v : Variants(img.name, img.bytes)) {
            SCOPED_TRACE(v.name);
            dog.Enter(v.name);
            MemoryRun(v.bytes, GuardBuffer::kEnd).All();
            MemoryRun(v.bytes, GuardBuffer::kStart).All();
            if (HasFailure()) return;  // one case is enough to read
        }
    }
}

TEST(RiffHostile, FileFamilyReturnsAndMovesForward) {
    Watchdog dog(20000);
    TempFile f;
    ASSERT_NE(INVALID_HANDLE_VALUE, f.h());
    for (const Named &img : Images()) {
        for (const Variant &v : Variants(img.name, img.bytes)) {
            SCOPED_TRACE(v.name);
            dog.Enter(v.name);
            FileRun(f, v.bytes).All();
            if (HasFailure()) return;
        }
    }
}

// The guard really stands where the sweep relies on it.
TEST(RiffHostile, GuardPagesTouchTheBlock) {
    const size_t sizes[] = {0, 1, 162, 4096, 4097};
    for (size_t size : sizes) {
        SCOPED_TRACE(size);
        MEMORY_BASIC_INFORMATION mi;
        GuardBuffer end(size, GuardBuffer::kEnd);
        ASSERT_TRUE(end.ok());
        ASSERT_NE(0u, VirtualQuery(end.data() + size, &mi, sizeof mi));
        EXPECT_EQ((DWORD)PAGE_NOACCESS, mi.Protect);
        GuardBuffer start(size, GuardBuffer::kStart);
        ASSERT_TRUE(start.ok());
        ASSERT_NE(0u, VirtualQuery(start.data() - 1, &mi, sizeof mi));
        EXPECT_EQ((DWORD)PAGE_NOACCESS, mi.Protect);
        if (size) {
            ASSERT_NE(0u, VirtualQuery(end.data(), &mi, sizeof mi));
            EXPECT_EQ((DWORD)PAGE_READWRITE, mi.Protect);
        }
    }
}

// The sweep's images are what they claim to be before they are broken.
TEST(RiffHostile, ImagesAreValidToStartWith) {
    for (const Named &img : Images()) {
        SCOPED_TRACE(img.name);
        GuardBuffer g(img.bytes.data(), img.bytes.size());
        tMRIFFSTREAM s;
        mriff_Init(&s, g.data(), (DWORD)g.size(), (DWORD)g.size());
        DWORD room = 0;
        ASSERT_EQ(LX_S_OK, mriff_ReadFileID(&s, &room, nullptr));
        EXPECT_EQ(img.bytes.size() - 12, room);
    }
}

}  // namespace
