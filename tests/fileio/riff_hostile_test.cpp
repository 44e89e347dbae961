// Hostile sizes: every word of small valid images replaced by sizes that
// break walkers (0, 1, odd, one off the truth, the signed and unsigned
// extremes) and every truncation of them, through every reader of the file
// and memory families. Every call must return a status of the layer, the
// memory cursor stay inside its block (guard pages on either side), each
// walk move forward and no deletion grow the file. A watchdog ends the
// program on a hang.
#include "riffimage.h"
#include "watchdog.h"

#include <cstdio>

using namespace rifftest;
using lxtest::GuardBuffer;

namespace {

std::vector<std::pair<std::string, Bytes>> Variants() {
    WAVEFORMATEX pcm = {1, 1, 8000, 0, 0, 16, 0};
    Layer wave(kMemory);
    wave.Load(Bytes{}, 44);
    mriff_WriteWaveHeader(&wave.s, &pcm, 6, 24);
    const std::pair<const char *, Bytes> images[] = {
        {"wave-like", WaveLike()},
        {"nested lists", Image().Riff("TEST").List("outr").List("innr").Chunk("a   ", Filled(1)).Close()
                             .Chunk("b   ", Bytes{}).Close().Chunk("c   ", Filled(3)).Finish()},
        {"written wave header", Image().Raw(wave.Contents()).Raw(Filled(6)).List("INFO")
                                    .Chunk("INAM", Text("ab")).Finish()}};
    std::vector<std::pair<std::string, Bytes>> out;
    char name[96];
    for (const auto &img : images) {
        EXPECT_EQ(img.second.size() - 8, WordAt(img.second, 4)) << img.first;  // valid before it is broken
        for (size_t at = 0; at + 4 <= img.second.size(); at += 2) {
            const DWORD truth = WordAt(img.second, at);
            for (DWORD v : {0ul, 1ul, 3ul, truth - 1, truth + 1, 0x7FFFFFFFul, 0x80000000ul, 0xFFFFFFF8ul, ~0ul}) {
                Bytes b = img.second;
                PutWordAt(b, at, v);
                snprintf(name, sizeof name, "%s, word at %u = 0x%08lX", img.first, (unsigned)at, v);
                out.push_back({name, b});
            }
        }
        for (size_t len = 0; len <= img.second.size(); ++len) {
            snprintf(name, sizeof name, "%s cut to %u bytes", img.first, (unsigned)len);
            out.push_back({name, Bytes(img.second.begin(), img.second.begin() + len)});
        }
    }
    return out;
}

const DWORD kIds[] = {LXRIFF_ID_FMT, LXRIFF_ID_DATA, LXRIFF_ID_LIST, LXRIFF_FOURCC('z', 'e', 'r', 'o'),
                      LXRIFF_FOURCC('I', 'N', 'A', 'M'), LXRIFF_FOURCC('n', 'o', 'n', 'e')};
const DWORD kLists[] = {LXRIFF_ID_INFO, LXRIFF_FOURCC('a', 'd', 't', 'l'), LXRIFF_FOURCC('o', 'u', 't', 'r'),
                        LXRIFF_FOURCC('i', 'n', 'n', 'r'), LXRIFF_FOURCC('n', 'o', 'n', 'e')};

// Every reader of one family over the image loaded in l.
void Sweep(Layer &l, const Bytes &image) {
    const DWORD len = (DWORD)image.size();
    HANDLE h = l.h();
    auto ok = [&](HRESULT hr, const char *call, HRESULT alsoOk = LX_S_OK) {
        EXPECT_TRUE(hr == LX_S_OK || hr == LX_E_READ || hr == LX_E_NOTFOUND || hr == LXRIFF_E_NOTRIFF ||
                    hr == LXRIFF_E_NOTLIST || hr == alsoOk) << call << " gave " << std::hex << hr;
        EXPECT_TRUE(!l.Memory() || (l.s.base <= l.s.current && l.s.current <= l.s.dataEnd &&
                                    l.s.dataEnd == l.s.base + len)) << call;
        return hr == LX_S_OK;
    };
    DWORD room = 0, form = 0, size = 0, count = 0, type = 0, at = 0;
    LONG left;
    BYTE buf[64];
    ok(l.FileID(&room, &form), "ReadFileID");
    for (DWORD id : kIds) {
        l.Seek(0);
        left = (LONG)len;
        if (ok(l.Memory() ? mriff_FindChunkHeaderInRIFF(&l.s, id, &size, &left)
                          : riff_FindChunkHeaderInRIFF(h, id, &size, &left), "FindChunkHeaderInRIFF")) {
            EXPECT_LE(l.Pos(), len);
        }
        l.Seek(0);
        ok(l.Memory() ? mriff_FindChunkHeaderInRIFF(&l.s, id, &size, nullptr)
                      : riff_FindChunkHeaderInRIFF(h, id, &size, nullptr), "FindChunkHeaderInRIFF unbounded");
        l.Seek(12);
        ok(l.Find(id, &size, nullptr), "FindChunkHeader unbounded");
        l.Seek(12);
        if (!ok(l.Find(id, &size, &(left = (LONG)room)), "FindChunkHeader")) continue;
        // Reads of the payload found, each from its start.
        ok(l.Save(&at), "SaveLocation");
        ok(l.Bounded(buf, size, sizeof buf), "ReadDataBounded");
        l.Seek(at);
        tLXRIFFDATA d = {size, nullptr};
        ok(l.Alloc(&d), "ReadDataAlloc");
        LxRiff_FreeData(&d);
        l.Seek(at);
        ok(l.Read(buf, size < sizeof buf ? size : sizeof buf), "ReadData");
        l.Seek(at);
        DWORD chunkSize = size;
        if (!l.Memory()) ok(riff_ReadANSIString(h, (char *)buf, sizeof buf, &chunkSize), "ReadANSIString");
        l.Seek(at - 8);
        ok(l.ListHeader(&type, &size), "ReadListHeader");
    }
    for (DWORD list : kLists) {
        if (ok(l.FindListFromStart(list, &size), "FindListChunkFromStart")) {
            const ULONGLONG pos = l.Pos();
            ok(l.Count(&count, &(left = (LONG)size)), "GetNumListEntries");
            EXPECT_LE(count, len / 8);
            EXPECT_EQ(pos, l.Pos());
            if (!l.Memory()) {
                ok(riff_SeekListEntry(h, count, &(left = (LONG)size)), "SeekListEntry");
                l.Seek((DWORD)pos);
                ok(riff_SeekListEntry(h, 0xFFFFFFFF, nullptr), "SeekListEntry unbounded");
            }
        }
        l.Seek(12);
        ok(l.FindList(list, &size, &(left = (LONG)room)), "FindListChunk");
    }
    l.Seek(12);
    ok(l.Count(&count, nullptr), "GetNumListEntries unbounded");
    EXPECT_LE(count, len / 8);
    EXPECT_EQ(len < 12 && l.Memory() ? len : 12, l.Pos());
    if (l.Memory()) {
        const DWORD inam = LXRIFF_FOURCC('I', 'N', 'A', 'M');
        ok(mriff_GetInfoString(&l.s, inam, (char *)buf, sizeof buf, &(left = (LONG)room)), "GetInfoString");
        ok(mriff_GetInfoString(&l.s, inam, (char *)buf, sizeof buf, nullptr), "GetInfoString unbounded");
        WAVEFORMATEX w;
        ok(mriff_GetWfx(&w, l.s.base, len, &size), "GetWfx", LX_E_FAIL);
    } else {
        ok(riff_GetFileSize(h, &size), "GetFileSize");
    }
    // The primitives, descending into lists: every step moves forward.
    l.DataStart();
    for (DWORD steps = 1, id;; ++steps) {
        const ULONGLONG before = l.Pos();
        if (l.ChunkHeader(&id, &size) != LX_S_OK) break;
        if (id != LXRIFF_ID_LIST)
            l.Skip(size);
        else if (l.Read(&type, 4) != LX_S_OK)
            break;
        ASSERT_GE(l.Pos(), before + 8);
        ASSERT_LE(steps, len / 8);
    }
    if (l.Memory()) return;
    auto remove = [&](DWORD id, BOOL list) {  // deleting never grows the file
        l.Load(image);
        DWORD deleted = 0;
        ok(riff_DeleteChunk(h, id, &deleted, list), "DeleteChunk");
        EXPECT_LE(l.Contents().size(), len);
    };
    for (DWORD id : kIds) remove(id, FALSE);
    for (DWORD type : kLists) remove(type, TRUE);
}

TEST(RiffHostile, EveryReaderReturnsInBoundsAndMovesForward) {
    lxtest::Watchdog dog(20000);
    Layer file(kFile), memory(kMemory);
    ASSERT_NE(INVALID_HANDLE_VALUE, file.h());
    for (const auto &v : Variants()) {
        SCOPED_TRACE(v.first);
        dog.Enter(v.first);
        for (GuardBuffer::Flush flush : {GuardBuffer::kEnd, GuardBuffer::kStart}) {
            memory.Load(v.second, 0, flush);
            Sweep(memory, v.second);
        }
        file.Load(v.second);
        Sweep(file, v.second);
        if (HasFailure()) return;  // one case is enough to read
    }
}

// The guard really stands where the sweeps rely on it.
TEST(RiffHostile, GuardPagesTouchTheBlock) {
    for (size_t size : {0, 1, 162, 4096, 4097}) {
        SCOPED_TRACE(size);
        MEMORY_BASIC_INFORMATION mi;
        GuardBuffer end(size, GuardBuffer::kEnd), start(size, GuardBuffer::kStart);
        ASSERT_TRUE(end.ok() && start.ok());
        ASSERT_NE(0u, VirtualQuery(end.data() + size, &mi, sizeof mi));
        EXPECT_EQ((DWORD)PAGE_NOACCESS, mi.Protect);
        ASSERT_NE(0u, VirtualQuery(start.data() - 1, &mi, sizeof mi));
        EXPECT_EQ((DWORD)PAGE_NOACCESS, mi.Protect);
        ASSERT_NE(0u, VirtualQuery(end.data() + size - 1, &mi, sizeof mi));
        EXPECT_EQ((DWORD)(size ? PAGE_READWRITE : PAGE_NOACCESS), mi.Protect);
    }
}

}  // namespace
