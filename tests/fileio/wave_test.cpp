// WAVE and Wave64 files: recognition, the format with its frames and data
// offset, new files and their reserved headers byte for byte, header
// rewrites with every size they refuse, format changes, and the repair
// rules one by one. Images are built here from their layouts, not by the
// writers under test.
#include "wavetest.h"

#include "fileio/aiff.h"
#include "fileio/wave.h"

using namespace wavetest;

namespace {

const tWAVEFORMATEX kStereo16 = Fmt(1, 2, 44100, 16);

// ---- Images ------------------------------------------------------------------

Bytes Canonical(const tWAVEFORMATEX &f, const Bytes &samples) {
    return WaveImage().Header().Chunk("fmt ", Record18(f)).Chunk("data", samples).Close();
}

Bytes Fmt16(const tWAVEFORMATEX &f, const Bytes &samples) {
    Bytes rec = Record18(f);
    rec.resize(16);
    return WaveImage().Header().Chunk("fmt ", rec).Chunk("data", samples).Close();
}

Bytes First16(const tWAVEFORMATEX &f) {
    Bytes rec = Record18(f);
    rec.resize(16);
    return rec;
}

Bytes W64Canonical(const tWAVEFORMATEX &f, const Bytes &samples) {
    return W64Image().Header().Chunk(W64Fmt(), Record18(f)).Chunk(W64Data(), samples).Close();
}

struct FormatWant {
    WORD tag, channels;
    DWORD rate, avg;
    WORD align, bits;
};

void ExpectFormat(const FormatWant &w, const tWAVEFORMATEX *f) {
    ASSERT_NE(nullptr, f);
    EXPECT_EQ(w.tag, +f->wFormatTag);
    EXPECT_EQ(w.channels, +f->nChannels);
    EXPECT_EQ(w.rate, +f->nSamplesPerSec);
    EXPECT_EQ(w.avg, +f->nAvgBytesPerSec);
    EXPECT_EQ(w.align, +f->nBlockAlign);
    EXPECT_EQ(w.bits, +f->wBitsPerSample);
}

// ---- Recognition ---------------------------------------------------------------

TEST(WaveRecognise, WaveFilesWithAndWithoutTheAudioCheck) {
    tWAVEFORMATEX mp3 = Fmt(0x55, 2, 44100, 0);
    mp3.nBlockAlign = 1;
    tWAVEFORMATEX ext = Fmt(0xFFFE, 2, 48000, 24);
    tWAVEFORMATEX badAlign = kStereo16;
    badAlign.nBlockAlign = 3;
    tWAVEFORMATEX noChannels = Fmt(1, 0, 44100, 16);
    Bytes cutFmt = Canonical(kStereo16, Samples(8));
    cutFmt.resize(30);
    Bytes shortRiff = Canonical(kStereo16, Samples(8));
    Put32(shortRiff, 4, 4 + 7);  // the fmt header lies past the bound
    struct Row {
        const char *name;
        Bytes image;
        int plain, any;
    } rows[] = {
        {"canonical", Canonical(kStereo16, Samples(40)), 1, 1},
        {"fmt of 16", Fmt16(kStereo16, Samples(40)), 1, 1},
        {"float", Canonical(Fmt(3, 1, 96000, 32), Samples(8)), 1, 1},
        {"private signed 8", Canonical(Fmt(0xFE01, 1, 8000, 8), Samples(8)), 1, 1},
        {"compressed tag", Canonical(mp3, Samples(8)), 0, 1},
        {"extensible", Canonical(ext, Samples(12)), 0, 1},
        {"wrong align", Canonical(badAlign, Samples(8)), 0, 1},
        {"no channels", Canonical(noChannels, Samples(8)), 0, 1},
        {"fmt of 2", WaveImage().Header().Chunk("fmt ", Bytes{1, 0}).Chunk("data", Samples(4)).Close(), 0, 1},
        {"fmt cut short", cutFmt, 0, 0},
        {"fmt past the RIFF size", shortRiff, 0, 0},
        {"no fmt", WaveImage().Header().Chunk("data", Samples(4)).Close(), 0, 0},
        {"form AVI", WaveImage().Tag("RIFF").Word(0).Tag("AVI ").Chunk("fmt ", Record18(kStereo16)).Close(), 0, 0},
        {"Wave64", W64Canonical(kStereo16, Samples(8)), 0, 0},
        {"empty", Bytes{}, 0, 0},
    };
    ScratchPath p;
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        WriteFileBytes(p.path(), r.image);
        EXPECT_EQ(r.plain, LxFileIsWave(p.c_str(), FALSE));
        EXPECT_EQ(r.any, LxFileIsWave(p.c_str(), TRUE));
    }
    EXPECT_EQ(0, LxFileIsWave((lxtest::ExeDir() + "no such file.wav").c_str(), TRUE));
    EXPECT_EQ(0, LxFileIsWave(nullptr, TRUE));
}

TEST(WaveRecognise, Wave64FilesReadAtLeastEighteenBytes) {
    tWAVEFORMATEX ext = Fmt(0xFFFE, 2, 48000, 24);
    // A fmt of 2: the 18 bytes read run into the next chunk's id, which
    // gives an alignment that no format has.
    const Bytes tiny = W64Image().Header().Chunk(W64Fmt(), Bytes{1, 0}).Chunk(W64Data(), Samples(4)).Close();
    Bytes cut = W64Canonical(kStereo16, Samples(8));
    cut.resize(70);
    Bytes bounded = W64Canonical(kStereo16, Samples(8));
    Put64(bounded, 16, 40 + 23);
    struct Row {
        const char *name;
        Bytes image;
        int plain, any;
    } rows[] = {
        {"canonical", W64Canonical(kStereo16, Samples(40)), 1, 1},
        {"fmt of 16", W64Image().Header().Chunk(W64Fmt(), First16(kStereo16)).Chunk(W64Data(), Samples(8)).Close(), 1, 1},
        {"float 64", W64Canonical(Fmt(3, 2, 44100, 64), Samples(16)), 1, 1},
        {"extensible", W64Canonical(ext, Samples(12)), 0, 1},
        {"fmt of 2", tiny, 0, 1},
        {"cut in fmt", cut, 0, 0},
        {"fmt past the bound", bounded, 0, 0},
        {"WAVE", Canonical(kStereo16, Samples(8)), 0, 0},
        {"empty", Bytes{}, 0, 0},
    };
    ScratchPath p;
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        WriteFileBytes(p.path(), r.image);
        EXPECT_EQ(r.plain, LxFileIsWave64(p.c_str(), FALSE));
        EXPECT_EQ(r.any, LxFileIsWave64(p.c_str(), TRUE));
    }
}

// ---- Reading the format -----------------------------------------------------------

TEST(WaveGetFormat, ThreeGuessesWithFramesAndOffsets) {
    tWAVEFORMATEX bits20 = Fmt(1, 2, 48000, 20);  // align 4 from 20 >> 3
    ASSERT_EQ(4, (int)bits20.nBlockAlign);  // a copy: the record is packed
    const Bytes junk = WaveImage()
                           .Header()
                           .Chunk("fmt ", Record18(kStereo16))
                           .Chunk("JUNK", Bytes(458))
                           .Chunk("data", Samples(40))
                           .Close();
    const Bytes listFirst = WaveImage()
                                .Header()
                                .Chunk("LIST", Bytes{'I', 'N', 'F', 'O', 'I', 'N', 'A', 'M', 3, 0, 0, 0, 'a', 'b', 0, 0})
                                .Chunk("fmt ", Record18(Fmt(3, 1, 22050, 32)))
                                .Chunk("fact", Bytes(4))
                                .Chunk("data", Samples(44))
                                .Close();
    const Bytes w64Junk = W64Image()
                              .Header()
                              .Chunk(W64Fmt(), Record18(kStereo16))
                              .Chunk(W64Junk(), Bytes(376))
                              .Chunk(W64Data(), Samples(16))
                              .Close();
    const Bytes w64Sox = W64Image()
                             .Header()
                             .Chunk(W64Fmt(), First16(kStereo16))
                             .Chunk(W64Data(), Samples(16))
                             .Close();
    Bytes bigRec = Record18(Fmt(0xFE02, 2, 44100, 24));
    bigRec[16] = 2;
    bigRec.push_back(0xAB);
    bigRec.push_back(0xCD);
    struct Row {
        const char *name;
        Bytes image;
        FormatWant want;
        ULONGLONG frames, offset;
    } rows[] = {
        {"canonical", Canonical(kStereo16, Samples(401)), {1, 2, 44100, 176400, 4, 16}, 100, 46},
        {"fmt of 16", Fmt16(kStereo16, Samples(400)), {1, 2, 44100, 176400, 4, 16}, 100, 44},
        {"reserved 512", junk, {1, 2, 44100, 176400, 4, 16}, 10, 512},
        {"list first, fact behind", listFirst, {3, 1, 22050, 88200, 4, 32}, 11, 12 + 24 + 26 + 12 + 8},
        {"20 bits read as 24", Canonical(bits20, Samples(60)), {1, 2, 48000, 192000, 6, 24}, 10, 46},
        {"extra bytes", WaveImage().Header().Chunk("fmt ", bigRec).Chunk("data", Samples(60)).Close(),
         {0xFE02, 2, 44100, 264600, 6, 24}, 10, 12 + 28 + 8},
        {"Wave64", W64Canonical(kStereo16, Samples(41)), {1, 2, 44100, 176400, 4, 16}, 10, 112},
        {"Wave64 reserved 512", w64Junk, {1, 2, 44100, 176400, 4, 16}, 4, 512},
        {"Wave64 fmt of 16", w64Sox, {1, 2, 44100, 176400, 4, 16}, 4, 40 + 40 + 24},
        {"AIFF", AiffImage(2, 1000, 16, 44100, Samples(40)), {0xFE02, 2, 44100, 176400, 4, 16}, 10, 54},
        {"AIFF, fewer frames in COMM", AiffImage(1, 3, 8, 8000, Samples(40)), {0xFE01, 1, 8000, 8000, 1, 8}, 3, 54},
    };
    ScratchPath p;
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        WriteFileBytes(p.path(), r.image);
        ULONGLONG frames = 7, offset = 7;
        tWAVEFORMATEX *f = LxGetFileWfx(p.c_str(), &frames, &offset);
        ExpectFormat(r.want, f);
        EXPECT_EQ(r.frames, frames);
        EXPECT_EQ(r.offset, offset);
        if (f && std::string(r.name) == "extra bytes") {
            EXPECT_EQ(2, +f->cbSize);
            EXPECT_EQ(0xAB, ((BYTE *)f)[18]);
            EXPECT_EQ(0xCD, ((BYTE *)f)[19]);
        } else if (f) {
            EXPECT_EQ(0, +f->cbSize);
        }
        free(f);
        f = LxGetFileWfx(p.c_str(), nullptr, nullptr);
        EXPECT_NE(nullptr, f);
        free(f);
    }
}

TEST(WaveGetFormat, RefusalsLeaveTheOutsAlone) {
    Bytes dataFirst = WaveImage().Header().Chunk("data", Samples(8)).Chunk("fmt ", Record18(kStereo16)).Close();
    Bytes riffShort = Canonical(kStereo16, Samples(8));
    Put32(riffShort, 4, 4 + 26 + 7);  // data's header lies past the bound
    Bytes riffZero = Canonical(kStereo16, Samples(8));
    Put32(riffZero, 4, 0);
    Bytes w64Big = W64Image().Header().Chunk(W64Fmt(), Bytes(4097)).Chunk(W64Data(), Samples(8)).Close();
    Put16(w64Big, 64, 1);
    Put16(w64Big, 66, 1);
    Put16(w64Big, 76, 2);
    Put16(w64Big, 78, 16);
    Bytes noData = WaveImage().Header().Chunk("fmt ", Record18(kStereo16)).Close();
    Bytes aiffNone = AiffImage(2, 10, 16, 44100, Samples(40));
    aiffNone[8 + 3] = 'C';  // AIFC without a compression type read as none
    struct Row {
        const char *name;
        Bytes image;
    } rows[] = {
        {"data ahead of fmt", dataFirst},
        {"data past the RIFF size", riffShort},
        {"RIFF size 0", riffZero},
        {"no data", noData},
        {"Wave64 fmt over 4096", w64Big},
        {"extensible", Canonical(Fmt(0xFFFE, 2, 48000, 16), Samples(8))},
        {"not audio", Canonical(Fmt(2, 2, 48000, 4), Samples(8))},
        {"no channels", Canonical(Fmt(1, 0, 48000, 16), Samples(8))},
        {"AIFC cut", Bytes(aiffNone.begin(), aiffNone.begin() + 30)},
        {"text", Bytes{'h', 'e', 'l', 'l', 'o'}},
        {"empty", Bytes{}},
    };
    ScratchPath p;
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        WriteFileBytes(p.path(), r.image);
        ULONGLONG frames = 77, offset = 88;
        EXPECT_EQ(nullptr, LxGetFileWfx(p.c_str(), &frames, &offset));
        EXPECT_EQ(77u, frames);
        EXPECT_EQ(88u, offset);
    }
    ULONGLONG frames = 77, offset = 88;
    EXPECT_EQ(nullptr, LxGetFileWfx((lxtest::ExeDir() + "missing.wav").c_str(), &frames, &offset));
    EXPECT_EQ(77u, frames);
    EXPECT_EQ(88u, offset);
}

// ---- New files -------------------------------------------------------------------

Bytes WantWaveHeader(const tWAVEFORMATEX &f, DWORD riffSize, DWORD headerSize, DWORD dataSize) {
    WaveImage img;
    img.Tag("RIFF").Word(riffSize).Tag("WAVE").Tag("fmt ").Word(18).Raw(Record18(f));
    if (headerSize > 46) img.Tag("JUNK").Word(headerSize - 54).Raw(Bytes(headerSize - 54));
    img.Tag("data").Word(dataSize);
    return img.Get();
}

Bytes WantW64Header(const tWAVEFORMATEX &f, ULONGLONG riffSize, ULONGLONG headerSize, ULONGLONG dataSize) {
    W64Image img;
    img.Id(W64Riff()).Quad(riffSize).Id(W64Wave()).Id(W64Fmt()).Quad(42).Raw(Record18(f)).Raw(Bytes(6));
    if (headerSize > 112) img.Id(W64Junk()).Quad(headerSize - 112).Raw(Bytes((size_t)headerSize - 136));
    img.Id(W64Data()).Quad(dataSize + 24);
    return img.Get();
}

TEST(WaveInitialize, CanonicalHeadersByteForByte) {
    const tWAVEFORMATEX formats[] = {kStereo16, Fmt(3, 1, 96000, 32), Fmt(0xFE01, 2, 8000, 8)};
    for (const tWAVEFORMATEX &f : formats) {
        SCOPED_TRACE(f.wFormatTag);
        ScratchPath p;
        ASSERT_EQ(LX_S_OK, LxInitializeWav(p.c_str(), &f, CREATE_ALWAYS));
        EXPECT_EQ(WantWaveHeader(f, 38, 46, 0), ReadFileBytes(p.path()));
        ULONGLONG frames = 9, offset = 9;
        tWAVEFORMATEX *got = LxGetFileWfx(p.c_str(), &frames, &offset);
        ASSERT_NE(nullptr, got);
        EXPECT_EQ(0, memcmp(got, &f, 18));
        EXPECT_EQ(0u, frames);
        EXPECT_EQ(46u, offset);
        free(got);

        ASSERT_EQ(LX_S_OK, LxInitializeWav64(p.c_str(), &f, CREATE_ALWAYS));
        // 130 stands in the size field until the first rewrite.
        EXPECT_EQ(WantW64Header(f, 130, 112, 0), ReadFileBytes(p.path()));
        got = LxGetFileWfx(p.c_str(), &frames, &offset);
        ASSERT_NE(nullptr, got);
        EXPECT_EQ(0, memcmp(got, &f, 18));
        EXPECT_EQ(0u, frames);
        EXPECT_EQ(112u, offset);
        free(got);
        EXPECT_EQ(1, LxFileIsWave64(p.c_str(), FALSE));
    }
}

TEST(WaveInitialize, ReservationRoundsUpAndRefusesTooLittle) {
    struct Row {
        DWORD asked;
        HRESULT want;
        DWORD header;  // 0: the file is left empty
    } rows[] = {
        {54, LX_S_OK, 54}, {53, LX_S_OK, 54}, {55, LX_S_OK, 56}, {512, LX_S_OK, 512},
        {52, LX_E_INVALIDARG, 0}, {46, LX_E_INVALIDARG, 0}, {0, LX_E_INVALIDARG, 0},
        {0xFFFFFFFF, LX_E_INVALIDARG, 0},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.asked);
        ScratchPath p;
        WriteFileBytes(p.path(), Samples(700));  // an older file is cut either way
        ASSERT_EQ(r.want, LxInitializeWavWithJunk(p.c_str(), &kStereo16, CREATE_ALWAYS, r.asked));
        if (!r.header) {
            EXPECT_EQ(0u, ReadFileBytes(p.path()).size());
            continue;
        }
        EXPECT_EQ(WantWaveHeader(kStereo16, r.header - 8, r.header, 0), ReadFileBytes(p.path()));
        ULONGLONG frames = 9, offset = 9;
        tWAVEFORMATEX *got = LxGetFileWfx(p.c_str(), &frames, &offset);
        ASSERT_NE(nullptr, got);
        EXPECT_EQ(r.header, offset);
        EXPECT_EQ(0u, frames);
        free(got);
    }
}

TEST(WaveInitialize, FormatsThatNeedMendingAreRefused) {
    tWAVEFORMATEX extra = kStereo16;
    extra.cbSize = 22;
    tWAVEFORMATEX badAlign = kStereo16;
    badAlign.nBlockAlign = 6;
    tWAVEFORMATEX floatAlign = Fmt(3, 2, 44100, 32);
    floatAlign.nBlockAlign = 3;  // not mended for floats: written as given
    struct Row {
        const char *name;
        tWAVEFORMATEX f;
        HRESULT want;
    } rows[] = {
        {"extra size", extra, LXWAVE_E_FORMAT},
        {"20 bits", Fmt(1, 2, 44100, 20), LXWAVE_E_FORMAT},
        {"alignment", badAlign, LXWAVE_E_FORMAT},
        {"float alignment", floatAlign, LX_S_OK},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        ScratchPath p;
        EXPECT_EQ(r.want, LxInitializeWav(p.c_str(), &r.f, CREATE_ALWAYS));
        EXPECT_EQ(r.want, LxInitializeWav64(p.c_str(), &r.f, CREATE_ALWAYS));
        EXPECT_EQ(r.want, LxInitializeWavWithJunk(p.c_str(), &r.f, CREATE_ALWAYS, 512));
    }
    ScratchPath p;
    EXPECT_EQ(LX_E_POINTER, LxInitializeWav(p.c_str(), nullptr, CREATE_ALWAYS));
}

TEST(WaveInitialize, DispositionsAsWindowsTakesThem) {
    struct Row {
        DWORD disposition;
        bool exists;
        HRESULT want;
    } rows[] = {
        {CREATE_NEW, false, LX_S_OK},       {CREATE_NEW, true, LXWAVE_E_OPEN},
        {CREATE_ALWAYS, true, LX_S_OK},     {OPEN_EXISTING, true, LX_S_OK},
        {OPEN_EXISTING, false, LXWAVE_E_OPEN}, {OPEN_ALWAYS, true, LX_S_OK},
        {OPEN_ALWAYS, false, LX_S_OK},      {TRUNCATE_EXISTING, true, LX_S_OK},
        {TRUNCATE_EXISTING, false, LXWAVE_E_OPEN}, {0, true, LXWAVE_E_OPEN},
        {6, true, LXWAVE_E_OPEN},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(testing::Message() << r.disposition << (r.exists ? " existing" : " new"));
        ScratchPath p;
        if (r.exists) WriteFileBytes(p.path(), Samples(1000));
        ASSERT_EQ(r.want, LxInitializeWav(p.c_str(), &kStereo16, r.disposition));
        // Opened or not, an older file is never left with a tail behind the header.
        const size_t size = ReadFileBytes(p.path()).size();
        if (r.want == LX_S_OK)
            EXPECT_EQ(46u, size);
        else
            EXPECT_EQ(r.exists ? 1000u : 0u, size);
    }
}

// ---- Header rewrites ---------------------------------------------------------------

TEST(WaveInsertHeader, SizesRefusedAndHeadersWritten) {
    struct Row {
        bool w64;
        DWORD fileLength;
        ULONGLONG header;
        HRESULT want;
    } rows[] = {
        {false, 600, 46, LX_S_OK},           {false, 600, 54, LX_S_OK},           {false, 600, 512, LX_S_OK},
        {false, 600, 56, LX_S_OK},           {false, 46, 46, LX_S_OK},            {false, 45, 46, LXRIFF_E_NEGSIZE},
        {false, 600, 47, LXRIFF_E_NEGSIZE},  {false, 600, 52, LXRIFF_E_NEGSIZE},  {false, 600, 53, LXRIFF_E_NEGSIZE},
        {false, 600, 44, LXRIFF_E_NEGSIZE},  {false, 600, 513, LXRIFF_E_NEGSIZE}, {true, 600, 112, LX_S_OK},
        {true, 600, 136, LX_S_OK},           {true, 600, 512, LX_S_OK},           {true, 600, 144, LX_S_OK},
        {true, 112, 112, LX_S_OK},           {true, 111, 112, LXRIFF_E_NEGSIZE},  {true, 600, 120, LXRIFF_E_NEGSIZE},
        {true, 600, 128, LXRIFF_E_NEGSIZE},  {true, 600, 104, LXRIFF_E_NEGSIZE},  {true, 600, 113, LXRIFF_E_NEGSIZE},
        {true, 600, 516, LXRIFF_E_NEGSIZE},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(testing::Message() << (r.w64 ? "Wave64 " : "WAVE ") << r.fileLength << " bytes, H " << r.header);
        ScratchPath p;
        const Bytes before = Samples(r.fileLength, 9);
        WriteFileBytes(p.path(), before);
        HANDLE h = OpenRW(p.path());
        ASSERT_NE(INVALID_HANDLE_VALUE, h);
        SeekTo(h, 33);
        const ULONGLONG dataSize = r.fileLength > r.header ? r.fileLength - r.header : 0;
        EXPECT_EQ(r.want, r.w64 ? LxInsertW64Header(h, &kStereo16, dataSize, r.header)
                                : LxInsertWavHeader(h, &kStereo16, (DWORD)dataSize, (DWORD)r.header));
        EXPECT_EQ(33u, Pos(h));
        CloseHandle(h);
        const Bytes after = ReadFileBytes(p.path());
        if (r.want != LX_S_OK) {
            EXPECT_EQ(before, after);
            continue;
        }
        Bytes want = r.w64 ? WantW64Header(kStereo16, dataSize + r.header, r.header, dataSize)
                           : WantWaveHeader(kStereo16, (DWORD)(dataSize + r.header - 8), (DWORD)r.header, (DWORD)dataSize);
        want.insert(want.end(), before.begin() + (size_t)r.header, before.end());
        EXPECT_EQ(want, after);
        ULONGLONG frames = 0, offset = 0;
        tWAVEFORMATEX *got = LxGetFileWfx(p.c_str(), &frames, &offset);
        ASSERT_NE(nullptr, got);
        EXPECT_EQ(r.header, offset);
        EXPECT_EQ(dataSize / 4, frames);
        free(got);
    }
}

TEST(WaveInsertHeader, FormatIsCheckedFirst) {
    ScratchPath p;
    WriteFileBytes(p.path(), Samples(100));
    HANDLE h = OpenRW(p.path());
    tWAVEFORMATEX extra = kStereo16;
    extra.cbSize = 2;
    EXPECT_EQ(LXWAVE_E_FORMAT, LxInsertWavHeader(h, &extra, 0, 47));
    EXPECT_EQ(LXWAVE_E_FORMAT, LxInsertW64Header(h, &extra, 0, 113));
    const tWAVEFORMATEX bits20 = Fmt(1, 1, 8000, 20);
    EXPECT_EQ(LXWAVE_E_FORMAT, LxInsertWavHeader(h, &bits20, 0, 46));
    EXPECT_EQ(LX_E_POINTER, LxInsertWavHeader(h, nullptr, 0, 46));
    CloseHandle(h);
    EXPECT_EQ(Samples(100), ReadFileBytes(p.path()));
}

// ---- Changing the format -------------------------------------------------------------

TEST(WaveSetFormat, WaveGetsItsChunkAtTheStart) {
    ScratchPath p;
    const Bytes image = Canonical(kStereo16, Samples(40));
    WriteFileBytes(p.path(), image);
    const tWAVEFORMATEX mono = Fmt(1, 1, 22050, 16);
    ASSERT_EQ(LX_S_OK, LxSetFileWfx(p.c_str(), &mono));
    // No seek to the old chunk: the new one lands at offset 0.
    Bytes want = WaveImage().Chunk("fmt ", Record18(mono)).Get();
    want.insert(want.end(), image.begin() + want.size(), image.end());
    EXPECT_EQ(want, ReadFileBytes(p.path()));
}

TEST(WaveSetFormat, RefusalsAndAiff) {
    ScratchPath p;
    WriteFileBytes(p.path(), AiffImage(2, 10, 16, 44100, Samples(40)));
    const tWAVEFORMATEX mono8 = Fmt(1, 1, 22050, 8);
    ASSERT_EQ(LX_S_OK, LxSetFileWfx(p.c_str(), &mono8));
    ULONGLONG frames = 0, offset = 0;
    tWAVEFORMATEX *got = LxGetFileWfx(p.c_str(), &frames, &offset);
    ExpectFormat({0xFE01, 1, 22050, 22050, 1, 8}, got);
    EXPECT_EQ(10u, frames);  // the count of "COMM" stays
    EXPECT_EQ(54u, offset);
    free(got);

    tWAVEFORMATEX badAlign = kStereo16;
    badAlign.nBlockAlign = 2;
    EXPECT_EQ(LXWAVE_E_FORMAT, LxSetFileWfx(p.c_str(), &badAlign));
    EXPECT_EQ(LXWAVE_E_OPEN, LxSetFileWfx((lxtest::ExeDir() + "missing.aif").c_str(), &kStereo16));
    EXPECT_EQ(LX_E_POINTER, LxSetFileWfx(p.c_str(), nullptr));
    // The AIFF refusals keep their handle open, so these files stay behind,
    // in the temporary folder.
    char temp[MAX_PATH];
    GetTempPathA(MAX_PATH, temp);
    const std::string keptA = std::string(temp) + lxtest::UniqueName("wave_setfloat") + ".tmp";
    WriteFileBytes(keptA, AiffImage(2, 10, 16, 44100, Samples(40)));
    const tWAVEFORMATEX flt = Fmt(3, 2, 44100, 32);
    EXPECT_EQ(LXAIFF_E_NOTPCM, LxSetFileWfx(keptA.c_str(), &flt));
    const std::string keptB = std::string(temp) + lxtest::UniqueName("wave_setw64") + ".tmp";
    WriteFileBytes(keptB, W64Canonical(kStereo16, Samples(8)));
    EXPECT_EQ(LXIFF_E_NOTAIFF, LxSetFileWfx(keptB.c_str(), &kStereo16));
}

// ---- Repair rules ---------------------------------------------------------------------

// A canonical header with the candidate format, then samples.
Bytes Trashed(const Bytes &record, size_t sampleBytes) {
    return WaveImage().Header().Chunk("fmt ", record).Chunk("data", Samples(sampleBytes)).Close();
}

TEST(WaveRepair, FormatMendedFieldByField) {
    tWAVEFORMATEX fb = Fmt(3, 1, 48000, 64);
    struct Row {
        const char *name;
        tWAVEFORMATEX candidate;
        const tWAVEFORMATEX *fallback;
        FormatWant want;
    } rows[] = {
        {"rate 1999", Fmt(1, 1, 1999, 8), nullptr, {1, 1, 44100, 44100, 1, 8}},
        {"rate 2000", Fmt(1, 1, 2000, 8), nullptr, {1, 1, 2000, 2000, 1, 8}},
        {"rate 192000", Fmt(1, 1, 192000, 8), nullptr, {1, 1, 192000, 192000, 1, 8}},
        {"rate 192001", Fmt(1, 1, 192001, 8), &fb, {1, 1, 48000, 48000, 1, 8}},
        {"three channels", Fmt(1, 3, 8000, 16), nullptr, {1, 2, 8000, 32000, 4, 16}},
        {"no channels", Fmt(1, 0, 8000, 16), &fb, {1, 1, 8000, 16000, 2, 16}},
        {"private tag", Fmt(0xFE01, 1, 8000, 8), nullptr, {1, 1, 8000, 8000, 1, 8}},
        {"private tag, float fallback", Fmt(0xFE01, 1, 8000, 8), &fb, {3, 1, 8000, 64000, 8, 64}},
        {"float 64", Fmt(3, 2, 8000, 64), nullptr, {3, 2, 8000, 128000, 16, 64}},
        {"float 16 bits", Fmt(3, 2, 8000, 16), nullptr, {3, 2, 8000, 64000, 8, 32}},
        {"float 16 bits, wide fallback", Fmt(3, 2, 8000, 16), &fb, {3, 2, 8000, 128000, 16, 64}},
        {"PCM 24", Fmt(1, 2, 8000, 24), nullptr, {1, 2, 8000, 48000, 6, 24}},
        {"PCM 20", Fmt(1, 2, 8000, 20), nullptr, {1, 2, 8000, 32000, 4, 16}},
        {"PCM 12, wide fallback", Fmt(1, 2, 8000, 12), &fb, {1, 2, 8000, 64000, 8, 32}},
        {"PCM 0", Fmt(1, 1, 8000, 0), nullptr, {1, 1, 8000, 16000, 2, 16}},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        ScratchPath p;
        Bytes rec = Record18(r.candidate);
        rec[12] = 0x77;  // alignment and rate are always recomputed
        rec[8] = 0x55;
        rec[16] = 9;     // and the extra size cleared
        WriteFileBytes(p.path(), Trashed(rec, 96));
        HANDLE h = OpenRW(p.path());
        ASSERT_EQ(LX_S_OK, LxFixTrashedWav(h, r.fallback, 0xFFFFFFFF));
        CloseHandle(h);
        ULONGLONG frames = 0, offset = 0;
        tWAVEFORMATEX *got = LxGetFileWfx(p.c_str(), &frames, &offset);
        ExpectFormat(r.want, got);
        if (got) {
            EXPECT_EQ(0, +got->cbSize);
        }
        EXPECT_EQ(46u, offset);
        EXPECT_EQ(96u / r.want.align, frames);
        free(got);
    }
}

TEST(WaveRepair, WhereTheAudioIsTakenToStart) {
    const Bytes rec = Record18(kStereo16);
    Bytes fmt16 = rec;
    fmt16.resize(16);
    // "data" that the byte scan must find: behind a chunk with a broken size.
    Bytes brokenJunk = WaveImage().Header().Chunk("fmt ", rec).Chunk("JUNK", Bytes(20)).Chunk("data", Samples(40)).Close();
    Put32(brokenJunk, 42, 0x7FFFFFF0);
    // The marker spans the first and second scan block.
    Bytes straddle = WaveImage().Header().Chunk("fmt ", rec).Tag("JUNK").Word(0xFFFFFFFF).Get();
    straddle.resize(38 + 4094, 0);
    straddle.insert(straddle.end(), {'d', 'a', 't', 'a', 0, 0, 0, 0});
    const Bytes afterStraddle = Samples(80);
    straddle.insert(straddle.end(), afterStraddle.begin(), afterStraddle.end());
    struct Row {
        const char *name;
        Bytes image;
        DWORD limit;
        HRESULT want;
        ULONGLONG start;
    } rows[] = {
        {"canonical", Trashed(rec, 40), 0xFFFFFFFF, LX_S_OK, 46},
        {"reserved 512", WaveImage().Header().Chunk("fmt ", rec).Chunk("JUNK", Bytes(458)).Chunk("data", Samples(40)).Close(), 0xFFFFFFFF, LX_S_OK, 512},
        {"scan past a broken chunk", brokenJunk, 0xFFFFFFFF, LX_S_OK, 38 + 28 + 8},
        {"scan across blocks", straddle, 0xFFFFFFFF, LX_S_OK, 38 + 4094 + 8},
        {"fmt 16, fact: scan finds data", WaveImage().Header().Chunk("fmt ", fmt16).Chunk("fact", Bytes(4)).Chunk("data", Samples(40)).Close(), 0xFFFFFFFF, LX_S_OK, 36 + 12 + 8},
        {"fmt 16 alone: marker at 36 unseen, audio from the limit", Fmt16(kStereo16, Samples(60)), 64, LX_S_OK, 64},
        {"marker behind the limit", brokenJunk, 70, LX_S_OK, 70},
        {"limit odd", brokenJunk, 71, LXRIFF_E_NEGSIZE, 0},
        {"limit in 47 to 53", brokenJunk, 50, LXRIFF_E_NEGSIZE, 0},
        {"marker at an odd place", WaveImage().Header().Chunk("fmt ", rec).Raw({0}).Tag("data").Word(0).Raw(Samples(21)).Get(), 0xFFFFFFFF, LXRIFF_E_NEGSIZE, 0},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        ScratchPath p;
        WriteFileBytes(p.path(), r.image);
        HANDLE h = OpenRW(p.path());
        SeekTo(h, 5);
        ASSERT_EQ(r.want, LxFixTrashedWav(h, nullptr, r.limit));
        EXPECT_EQ(5u, Pos(h));
        CloseHandle(h);
        const Bytes after = ReadFileBytes(p.path());
        ASSERT_EQ(r.image.size(), after.size());
        if (r.want != LX_S_OK) {
            EXPECT_EQ(r.image, after);
            continue;
        }
        // Samples untouched, header as the writer makes it.
        EXPECT_TRUE(std::equal(r.image.begin() + (size_t)r.start, r.image.end(), after.begin() + (size_t)r.start));
        const ULONGLONG bytes = r.image.size() - r.start;
        const DWORD dataSize = (DWORD)(bytes - bytes % 4);
        const Bytes head = WantWaveHeader(kStereo16, dataSize + (DWORD)r.start - 8, (DWORD)r.start, dataSize);
        EXPECT_TRUE(std::equal(head.begin(), head.end(), after.begin()));
    }
}

TEST(WaveRepair, Wave64Rules) {
    const Bytes rec = Record18(kStereo16);
    Bytes broken = W64Image().Header().Chunk(W64Fmt(), rec).Chunk(W64Junk(), Bytes(40)).Chunk(W64Data(), Samples(64)).Close();
    Put64(broken, 88 + 16, 5);  // a junk size below its header
    Bytes candidate = W64Canonical(Fmt(0xFE02, 6, 500, 13), Samples(64));
    struct Row {
        const char *name;
        Bytes image;
        ULONGLONG limit;
        HRESULT want;
        ULONGLONG start;
        FormatWant format;
    } rows[] = {
        {"canonical", W64Canonical(kStereo16, Samples(64)), ~0ULL, LX_S_OK, 112, {1, 2, 44100, 176400, 4, 16}},
        {"scan past a broken junk", broken, ~0ULL, LX_S_OK, 88 + 64 + 24, {1, 2, 44100, 176400, 4, 16}},
        {"candidate mended", candidate, ~0ULL, LX_S_OK, 112, {1, 2, 44100, 176400, 4, 16}},
        {"limit rounded down to 8", broken, 143, LX_S_OK, 136, {1, 2, 44100, 176400, 4, 16}},
        {"limit 120", broken, 120, LXRIFF_E_NEGSIZE, 0, {}},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        ScratchPath p;
        WriteFileBytes(p.path(), r.image);
        HANDLE h = OpenRW(p.path());
        SeekTo(h, 3);
        ASSERT_EQ(r.want, LxFixTrashedW64(h, nullptr, r.limit));
        EXPECT_EQ(3u, Pos(h));
        CloseHandle(h);
        if (r.want != LX_S_OK) {
            EXPECT_EQ(r.image, ReadFileBytes(p.path()));
            continue;
        }
        ULONGLONG frames = 0, offset = 0;
        tWAVEFORMATEX *got = LxGetFileWfx(p.c_str(), &frames, &offset);
        ExpectFormat(r.format, got);
        EXPECT_EQ(r.start, offset);
        EXPECT_EQ((r.image.size() - r.start) / r.format.align, frames);
        free(got);
        const Bytes after = ReadFileBytes(p.path());
        EXPECT_TRUE(std::equal(r.image.begin() + (size_t)r.start, r.image.end(), after.begin() + (size_t)r.start));
    }
}

TEST(WaveRepair, FallbackWithoutBytesIsRefused) {
    ScratchPath p;
    const Bytes img = Trashed(Record18(Fmt(1, 5, 44100, 16)), 40);
    WriteFileBytes(p.path(), img);
    tWAVEFORMATEX fb = Fmt(1, 0, 44100, 16);
    HANDLE h = OpenRW(p.path());
    EXPECT_EQ(LXWAVE_E_FORMAT, LxFixTrashedWav(h, &fb, 0xFFFFFFFF));
    EXPECT_EQ(LXWAVE_E_FORMAT, LxFixTrashedW64(h, &fb, ~0ULL));
    CloseHandle(h);
    EXPECT_EQ(img, ReadFileBytes(p.path()));
}

}  // namespace
