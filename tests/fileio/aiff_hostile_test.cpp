// Hostile AIFF: every 32-bit and 16-bit field of small valid images swept
// through sizes and counts that break walkers (0, 1, odd, one off the truth,
// the signed and unsigned extremes), the rate through infinities, NaNs,
// denormals and huge exponents, and every truncation. Every call must
// return one of its statuses, walks must move forward, deletions never grow
// the file and rewrites grow it by no more than their chunk. A watchdog ends
// the program on a hang.
#include "iffimage.h"

#include <cstdio>
#include <functional>
#include <initializer_list>

#include "watchdog.h"

using namespace ifftest;

using lxtest::Watchdog;

namespace {


struct Variant {
    std::string name;
    Bytes bytes;
};

std::vector<Variant> Variants(const char *image, const Bytes &img, size_t rateAt) {
    std::vector<Variant> out;
    char name[128];
    for (size_t at = 0; at + 4 <= img.size(); at += 2) {
        const DWORD truth = BE32At(img, at);
        for (DWORD v : {(DWORD)0, (DWORD)1, (DWORD)3, truth - 1, truth + 1, (DWORD)0x7FFFFFFF, (DWORD)0x80000000, (DWORD)0xFFFFFFF8, (DWORD)0xFFFFFFFF}) {
            Bytes b = img;
            PutBE32At(b, at, v);
            snprintf(name, sizeof name, "%s, u32 at %u = 0x%08lX", image, (unsigned)at, v);
            out.push_back({name, b});
        }
    }
    for (size_t at = 0; at + 2 <= img.size(); at += 2) {
        const WORD truth = BE16At(img, at);
        for (WORD v : {(WORD)0, (WORD)1, (WORD)3, (WORD)(truth - 1), (WORD)(truth + 1), (WORD)0x7FFF, (WORD)0x8000, (WORD)0xFFFF}) {
            Bytes b = img;
            PutBE16At(b, at, v);
            snprintf(name, sizeof name, "%s, u16 at %u = 0x%04X", image, (unsigned)at, v);
            out.push_back({name, b});
        }
    }
    const struct {
        const char *name;
        Ext words;
    } rates[] = {
        {"infinity", {0x7FFF, 0x8000, 0, 0, 0}},        {"minus infinity", {0xFFFF, 0x8000, 0, 0, 0}},
        {"quiet NaN", {0x7FFF, 0xC000, 0, 0, 1}},       {"signalling NaN", {0x7FFF, 0x8000, 0, 0, 1}},
        {"pseudo-infinity", {0x7FFF, 0, 0, 0, 0}},      {"denormal", {0, 0, 0, 0, 1}},
        {"largest denormal", {0, 0x7FFF, 0xFFFF, 0xFFFF, 0xFFFF}}, {"zero", {0, 0, 0, 0, 0}},
        {"huge exponent", {0x7FFE, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF}}, {"tiny exponent", {0x0001, 0x8000, 0, 0, 0}},
        {"negative", {0xC00E, 0xAC44, 0, 0, 0}},        {"unnormal", {0x400E, 0x2C44, 0, 0, 0}},
    };
    for (const auto &r : rates) {
        Bytes b = img;
        for (int i = 0; i < 5; ++i) PutBE16At(b, rateAt + 2 * i, r.words[i]);
        snprintf(name, sizeof name, "%s, rate %s", image, r.name);
        out.push_back({name, b});
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
    size_t rateAt;  // the 80-bit rate inside COMM
};

// COMM at 12 (rate at 28), MARK at 38, INST at 66, SSND at 94, end 126.
Named Full() {
    return {"AIFF",
            Image()
                .Form("AIFF")
                .Chunk("COMM", Comm(2, 3, 16, kRate44100))
                .Chunk("MARK", Marks({{1, 0, "a"}, {2, 2, "bb"}}))
                .Chunk("INST", Inst(60, 0, 0, 127, 1, 127, 0, 1, 1, 2, 0, 0, 0))
                .Chunk("SSND", Ssnd(4, 0, Filled(16)))
                .Finish(),
            28};
}

// FVER at 12, COMM at 24 (rate at 40), SSND at 56, end 78.
Named Compressible() {
    return {"AIFC",
            Image()
                .Form("AIFC")
                .Chunk("FVER", Image().U32(0xA2805140).Body())
                .Chunk("COMM", Comm(1, 5, 8, kRate8000, "NONE"))
                .Chunk("SSND", Ssnd(0, 0, Filled(5)))
                .Finish(),
            40};
}

// 8-bit mono whose odd SSND ends the file without its pad byte, as sox
// leaves some of its files.
Named OddFirst() {
    Bytes b = Image().Form("AIFF").Chunk("COMM", Comm(1, 7, 8, kRate8000)).Chunk("SSND", Ssnd(0, 0, Filled(7))).Finish();
    b.pop_back();
    PutBE32At(b, 4, (DWORD)b.size() - 8);
    return {"odd tail", b, 28};
}

const DWORD kIds[] = {LXIFF_ID_COMM, LXIFF_ID_SSND, LXIFF_ID_MARK, LXIFF_ID_INST, LXIFF_FOURCC('F', 'V', 'E', 'R'),
                      LXIFF_FOURCC('n', 'o', 'n', 'e')};
const WORD kMarkerIds[] = {1, 2, 3, 0xFFFF};

bool In(HRESULT hr, std::initializer_list<HRESULT> allowed) {
    for (HRESULT a : allowed)
        if (hr == a) return true;
    return false;
}

class Run {
public:
    Run(TempFile &f, const Bytes &b) : f_(f), b_(b), len_((DWORD)b.size()) {}

    void All() {
        Reads();
        Walk();
        for (DWORD id : kIds) Delete(id);
        Rewrites();
    }

private:
    HANDLE h() const { return f_.h(); }
    ULONGLONG Pos64() const {
        LONG high = 0;
        DWORD low = SetFilePointer(h(), 0, &high, FILE_CURRENT);
        return ((ULONGLONG)(DWORD)high << 32) | low;
    }
    void Check(HRESULT hr, std::initializer_list<HRESULT> allowed, const char *call) {
        EXPECT_TRUE(In(hr, allowed)) << call << " gave " << std::hex << hr;
    }

    void Reads() {
        f_.Reset(b_);
        DWORD size = 0;
        BOOL compressed = FALSE;
        const BOOL is = iff_IsAIFFFileEx(h(), &size, &compressed);
        if (is) {
            EXPECT_EQ(12u, f_.Pos());
        }

        tWAVEFORMATEX w;
        DWORD frames = 0, offset = 0;
        const HRESULT hr = iff_GetAIFFWfx(h(), &w, &frames, &offset);
        Check(hr, {LX_S_OK, LX_E_READ, LX_E_NOTFOUND, LXIFF_E_NOTAIFF}, "GetAIFFWfx");
        if (!is) {
            EXPECT_EQ(LXIFF_E_NOTAIFF, hr);
        }
        if (hr == LX_S_OK) {
            EXPECT_GE(+w.nBlockAlign, 1);
            EXPECT_TRUE(+w.nSamplesPerSec <= 192000) << +w.nSamplesPerSec;
            tAIFFCOMM comm;
            if (Aiff_ReadComm(h(), &comm) == LX_S_OK) {
                EXPECT_LE(frames, comm.frames);
            }
            // Frames never claim more bytes than the sound data has.
            DWORD ssnd = 0, skip = 0;
            ASSERT_EQ(LX_S_OK, iff_FindChunkFromStart(h(), LXIFF_ID_SSND, &ssnd));
            ASSERT_EQ(LX_S_OK, iff_ReadDWORD(h(), &skip));
            const LONGLONG data = (LONGLONG)ssnd - 8 - skip;
            EXPECT_LE((LONGLONG)frames * +w.nBlockAlign, data > 0 ? data : 0);
        }

        f_.Seek(1);
        tWAVEFORMATEX *guess = nullptr;
        ULONGLONG frames64 = 0, offset64 = 0;
        const HRESULT g = Aiff_GetFileWfx(h(), &guess, &frames64, &offset64);
        Check(g, {LX_S_OK, LX_E_READ, LX_E_NOTFOUND, LXIFF_E_NOTAIFF}, "Aiff_GetFileWfx");
        EXPECT_EQ(1u, f_.Pos());
        EXPECT_EQ(g == LX_S_OK, guess != nullptr);
        if (guess) {
            EXPECT_EQ((DWORD)(+guess->wBitsPerSample >> 3) * +guess->nChannels, (DWORD)guess->nBlockAlign);
            free(guess);
        }

        for (DWORD id : kIds) {
            DWORD chunk = 0;
            if (iff_FindChunkFromStart(h(), id, &chunk) == LX_S_OK) {
                EXPECT_LE(f_.Pos(), len_);
            }
            f_.Seek(0);
            Check(iff_FindChunkFromStart(h(), id, &chunk), {LX_S_OK, LX_E_NOTFOUND, LXIFF_E_NOTFORM},
                  "FindChunkFromStart");
            f_.Seek(12);
            Check(iff_SeekChunkHeader(h(), id, &chunk), {LX_S_OK, LX_E_READ}, "SeekChunkHeader");
        }
        for (WORD id : kMarkerIds) {
            tIFFMARKER m;
            const HRESULT found = iff_FindMarker(h(), &m, id);
            Check(found, {LX_S_OK, LX_E_NOTFOUND, LXIFF_E_NOTFORM}, "FindMarker");
            if (found == LX_S_OK) {
                EXPECT_LE(f_.Pos(), len_);
            }
        }
        tAIFFCOMM comm;
        Check(Aiff_ReadComm(h(), &comm), {LX_S_OK, LX_E_READ, LX_E_NOTFOUND, LXIFF_E_NOTAIFF}, "ReadComm");
        tAIFFINST inst;
        Check(Aiff_ReadInst(h(), &inst), {LX_S_OK, LX_E_READ, LX_E_NOTFOUND, LXIFF_E_NOTAIFF}, "ReadInst");
    }

    // The primitives alone: every step moves forward, and there are few.
    void Walk() {
        f_.Seek(12);
        DWORD steps = 0;
        for (;;) {
            const ULONGLONG before = Pos64();
            tIFFCHUNKHDR hdr;
            if (iff_ReadChunkHdr(h(), &hdr) != LX_S_OK) break;
            iff_SkipChunk(h(), hdr.size);
            ASSERT_GE(Pos64(), before + 8);
            ASSERT_LE(++steps, len_ / 8 + 1);
        }
    }

    void Delete(DWORD id) {
        f_.Reset(b_);
        DWORD removed = 0;
        const HRESULT hr = iff_DeleteChunk(h(), id, &removed);
        Check(hr, {LX_S_OK, LX_E_READ, LX_E_NOTFOUND, LXIFF_E_NOTAIFF}, "DeleteChunk");
        const size_t now = f_.Contents().size();
        if (hr == LX_S_OK) {
            EXPECT_EQ(len_ - removed, now);
        } else {
            EXPECT_EQ(0u, removed);
            EXPECT_EQ(len_, now);
        }
    }

    // Each rewrite on a fresh copy; the growth is bounded by the chunk put.
    void Rewrite(const char *call, std::function<HRESULT()> fn, size_t most) {
        f_.Reset(b_);
        const HRESULT hr = fn();
        Check(hr, {LX_S_OK, LX_E_READ, LX_E_WRITE, LX_E_NOTFOUND, LXIFF_E_NOTAIFF, LXAIFF_E_NOTPCM}, call);
        const size_t now = f_.Contents().size();
        EXPECT_LE(now, len_ + most) << call;
        if (hr != LX_S_OK) {
            EXPECT_LE(now, len_) << call;
        }
    }

    void Rewrites() {
        const tAIFFCOMM comm = {1, 9, 8, {0x400B, {0xFA00, 0, 0, 0}}};
        const tAIFFINST inst = {72, 3, 10, 100, 20, 90, 6, {2, 3, 4}, {1, 5, 6}};
        const tAIFFMARK marks[] = {{1, 20, "loop start"}, {2, 400, "x"}};
        tWAVEFORMATEX pcm = {};
        pcm.wFormatTag = 1;
        pcm.nChannels = 2;
        pcm.nSamplesPerSec = 48000;
        pcm.wBitsPerSample = 24;
        Rewrite("WriteComm", [&] { return Aiff_WriteComm(h(), &comm); }, 0);
        Rewrite("SetFileWfx", [&] { return Aiff_SetFileWfx(h(), &pcm); }, 0);
        Rewrite("WriteInst", [&] { return Aiff_WriteInst(h(), &inst); }, 1 + 28);
        Rewrite("remove INST", [&] { return Aiff_WriteInst(h(), nullptr); }, 0);
        Rewrite("WriteMarkers", [&] { return Aiff_WriteMarkers(h(), marks, 2); }, 1 + 8 + 2 + 18 + 8);
        Rewrite("remove MARK", [&] { return Aiff_WriteMarkers(h(), nullptr, 0); }, 0);
    }

    TempFile &f_;
    const Bytes &b_;
    DWORD len_;
};

void Sweep(const Named &img) {
    Watchdog dog(20000);
    TempFile f;
    ASSERT_NE(INVALID_HANDLE_VALUE, f.h());
    for (const Variant &v : Variants(img.name, img.bytes, img.rateAt)) {
        SCOPED_TRACE(v.name);
        dog.Enter(v.name);
        Run(f, v.bytes).All();
        if (::testing::Test::HasFailure()) return;  // one case is enough to read
    }
}

TEST(AiffHostile, FullAiff) { Sweep(Full()); }
TEST(AiffHostile, UncompressedAifc) { Sweep(Compressible()); }
TEST(AiffHostile, OddTail) { Sweep(OddFirst()); }

// The images are what they claim to be before they are broken.
TEST(AiffHostile, ImagesAreValidToStartWith) {
    TempFile f;
    for (const Named &img : {Full(), Compressible(), OddFirst()}) {
        SCOPED_TRACE(img.name);
        f.Reset(img.bytes);
        tWAVEFORMATEX w;
        DWORD frames = 0;
        ASSERT_EQ(LX_S_OK, iff_GetAIFFWfx(f.h(), &w, &frames, nullptr));
        EXPECT_NE(0u, frames);
        EXPECT_TRUE(img.bytes[img.rateAt] == 0x40);
    }
    f.Reset(Full().bytes);
    tIFFMARKER m;
    EXPECT_EQ(LX_S_OK, iff_FindMarker(f.h(), &m, 2));
    tAIFFINST inst;
    EXPECT_EQ(LX_S_OK, Aiff_ReadInst(f.h(), &inst));
}

}  // namespace
