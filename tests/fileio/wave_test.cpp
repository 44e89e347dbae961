// WAVE and Wave64 on images built from their layouts: recognition, format, frames and data offset, new and rewritten
// headers byte for byte with every size refused, format changes and the repair rules. Sox's files: the fixture test.
#include "iffimage.h"
#include "wavetest.h"

using namespace wavetest;

namespace {

const tWAVEFORMATEX kStereo16 = Fmt(1, 2, 44100, 16);
const std::vector<DWORD> kStereo16Fields = {1, 2, 44100, 176400, 4, 16, 0};

Bytes Canonical(const tWAVEFORMATEX &f, const Bytes &samples, size_t fmtBytes = 18) {
    return WaveImage().Header().Chunk("fmt ", Cut(Record18(f), fmtBytes)).Chunk("data", samples).Close();
}

Bytes W64Canonical(const tWAVEFORMATEX &f, const Bytes &samples) {
    return W64Image().Header().Chunk(W64Fmt(), Record18(f)).Chunk(W64Data(), samples).Close();
}

Bytes WantWaveHeader(const tWAVEFORMATEX &f, DWORD riffSize, DWORD headerSize, DWORD dataSize) {
    WaveImage img;
    img.Tag("RIFF").Word(riffSize).Tag("WAVE").Tag("fmt ").Word(18).Raw(Record18(f));
    if (headerSize > 46) img.Tag("JUNK").Word(headerSize - 54).Raw(Bytes(headerSize - 54));
    return img.Tag("data").Word(dataSize).Get();
}

Bytes WantW64Header(const tWAVEFORMATEX &f, ULONGLONG riffSize, ULONGLONG headerSize, ULONGLONG dataSize) {
    W64Image img;
    img.Id(W64Riff()).Quad(riffSize).Id(W64Wave()).Id(W64Fmt()).Quad(42).Raw(Record18(f)).Raw(Bytes(6));
    if (headerSize > 112) img.Id(W64Junk()).Quad(headerSize - 112).Raw(Bytes((size_t)headerSize - 136));
    return img.Id(W64Data()).Quad(dataSize + 24).Get();
}

// The image under a header as the writers make it, with the audio behind it in whole blocks of align.
Bytes WithHeader(bool w64, const Bytes &image, ULONGLONG header, ULONGLONG align, const tWAVEFORMATEX &f = kStereo16) {
    const ULONGLONG data = (image.size() - header) / align * align;
    Bytes b = w64 ? WantW64Header(f, data + header, header, data)
                  : WantWaveHeader(f, (DWORD)(data + header - 8), (DWORD)header, (DWORD)data);
    b.insert(b.end(), image.begin() + (size_t)header, image.end());
    return b;
}

// Files that the reader refuses, leaving its outs alone; of them, those with a "fmt " chunk to read are wave files to
// the matching call when it takes any format, and when their format is audio also without.
TEST(WaveRecognise, RefusedFilesWithAndWithoutTheAudioCheck) {
    const Bytes rec = Record18(kStereo16);
    tWAVEFORMATEX badAlign = kStereo16;
    badAlign.nBlockAlign = 3;
    const Bytes canon = Canonical(kStereo16, Samples(8)), w64 = W64Canonical(kStereo16, Samples(8));
    Bytes w64Big = W64Image().Header().Chunk(W64Fmt(), Bytes(4097)).Chunk(W64Data(), Samples(8)).Close();
    std::copy(rec.begin(), rec.end(), w64Big.begin() + 64);
    Bytes aifc = ifftest::Aiff(ifftest::Comm(2, 10, 16, ifftest::kRate44100), ifftest::Ssnd(0, 0, Samples(40)));
    aifc[8 + 3] = 'C';  // AIFC, cut before a compression type could be read
    const struct { const char *name; bool w64; Bytes image; int plain, any; } rows[] = {
        {"wrong align", false, Canonical(badAlign, Samples(8)), 0, 1},
        {"no channels", false, Canonical(Fmt(1, 0, 44100, 16), Samples(8)), 0, 1},
        {"not in the audio table", false, Canonical(Fmt(0xFFFE, 2, 48000, 16), Samples(8)), 0, 1},
        {"fmt of 2", false, WaveImage().Header().Chunk("fmt ", {1, 0}).Chunk("data", Samples(4)).Close(), 0, 1},
        {"fmt cut short", false, Cut(canon, 30), 0, 0},
        {"fmt header past the RIFF size", false, With(canon, 4, 4 + 7), 0, 0},
        {"RIFF size 0", false, With(canon, 4, 0), 0, 0},
        {"no fmt", false, WaveImage().Header().Chunk("data", Samples(4)).Close(), 0, 0},
        {"data ahead of fmt", false, WaveImage().Header().Chunk("data", Samples(8)).Chunk("fmt ", rec).Close(), 1, 1},
        {"data header past the RIFF size", false, With(canon, 4, 4 + 26 + 7), 1, 1},
        {"no data", false, WaveImage().Header().Chunk("fmt ", rec).Close(), 1, 1},
        {"form AVI", false, WaveImage().Tag("RIFF").Word(0).Tag("AVI ").Chunk("fmt ", rec).Close(), 0, 0},
        {"AIFC cut", false, Cut(aifc, 30), 0, 0},
        {"empty", false, Bytes{}, 0, 0},
        // The 18 bytes read run into the next chunk's id: an alignment no format has.
        {"Wave64 fmt of 2", true, W64Image().Header().Chunk(W64Fmt(), {1, 0}).Chunk(W64Data(), Samples(4)).Close(), 0,
         1},
        {"Wave64 cut in fmt", true, Cut(w64, 70), 0, 0},
        {"Wave64 fmt past the bound", true, With(w64, 16, 40 + 23, 8), 0, 0},
        {"Wave64 fmt over 4096", true, w64Big, 1, 1},
    };
    ScratchPath p;
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        WriteFileBytes(p.path(), r.image);
        for (BOOL any : {FALSE, TRUE}) {
            EXPECT_EQ(any ? r.any : r.plain, (r.w64 ? LxFileIsWave64 : LxFileIsWave)(p.c_str(), any));
            EXPECT_EQ(0, (r.w64 ? LxFileIsWave : LxFileIsWave64)(p.c_str(), any));
        }
        ULONGLONG frames = 77, offset = 88;
        EXPECT_EQ(nullptr, LxGetFileWfx(p.c_str(), &frames, &offset));
        EXPECT_EQ(std::vector<ULONGLONG>({77, 88}), std::vector<ULONGLONG>({frames, offset}));
    }
    const std::string missing = lxtest::ExeDir() + "missing.wav";
    ULONGLONG frames = 77, offset = 88;
    EXPECT_EQ(nullptr, LxGetFileWfx(missing.c_str(), &frames, &offset));
    EXPECT_EQ(std::vector<ULONGLONG>({77, 88}), std::vector<ULONGLONG>({frames, offset}));
    EXPECT_EQ(0, LxFileIsWave(missing.c_str(), TRUE));
    EXPECT_EQ(0, LxFileIsWave(nullptr, TRUE));
}

TEST(WaveGetFormat, FramesAndOffsets) {
    const Bytes rec = Record18(kStereo16);
    Bytes bigRec = Record18(Fmt(0xFE02, 2, 44100, 24));
    bigRec[16] = 2;
    bigRec.insert(bigRec.end(), {0xAB, 0xCD});
    const struct { const char *name; Bytes image; std::vector<DWORD> want; ULONGLONG frames, offset; } rows[] = {
        {"canonical, a partial frame", Canonical(kStereo16, Samples(401)), kStereo16Fields, 100, 46},
        {"private signed 8", Canonical(Fmt(0xFE01, 1, 8000, 8), Samples(8)), {0xFE01, 1, 8000, 8000, 1, 8, 0}, 8, 46},
        {"reserved 512", WaveImage().Header().Chunk("fmt ", rec).Chunk("JUNK", Bytes(458)).Chunk("data", Samples(40))
                             .Close(), kStereo16Fields, 10, 512},
        {"list first, fact behind",
         WaveImage().Header().Chunk("LIST", {'I', 'N', 'F', 'O', 'I', 'N', 'A', 'M', 3, 0, 0, 0, 'a', 'b', 0, 0})
             .Chunk("fmt ", Record18(Fmt(3, 1, 22050, 32))).Chunk("fact", Bytes(4)).Chunk("data", Samples(44)).Close(),
         {3, 1, 22050, 88200, 4, 32, 0}, 11, 12 + 24 + 26 + 12 + 8},
        {"20 bits read as 24", Canonical(Fmt(1, 2, 48000, 20), Samples(60)), {1, 2, 48000, 192000, 6, 24, 0}, 10, 46},
        {"extra bytes", WaveImage().Header().Chunk("fmt ", bigRec).Chunk("data", Samples(60)).Close(),
         {0xFE02, 2, 44100, 264600, 6, 24, 2}, 10, 12 + 28 + 8},
        {"Wave64, a partial frame", W64Canonical(kStereo16, Samples(41)), kStereo16Fields, 10, 112},
        {"Wave64 reserved 512", W64Image().Header().Chunk(W64Fmt(), rec).Chunk(W64Junk(), Bytes(376))
                                    .Chunk(W64Data(), Samples(16)).Close(), kStereo16Fields, 4, 512},
    };
    ScratchPath p;
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        WriteFileBytes(p.path(), r.image);
        ExpectReads(p.path(), r.want, r.frames, r.offset);
        EXPECT_EQ(1, (r.image[0] == 'r' ? LxFileIsWave64 : LxFileIsWave)(p.c_str(), FALSE));
        tWAVEFORMATEX *f = LxGetFileWfx(p.c_str(), nullptr, nullptr);  // the outs are optional
        ASSERT_NE(nullptr, f);
        EXPECT_EQ(0, f->cbSize ? memcmp((BYTE *)f + 18, "\xAB\xCD", 2) : 0);  // the chunk's extra bytes come along
        free(f);
    }
}

TEST(WaveInitialize, CanonicalHeadersByteForByte) {
    for (const tWAVEFORMATEX &f : {kStereo16, Fmt(3, 1, 96000, 32), Fmt(0xFE01, 2, 8000, 8)}) {
        for (bool w64 : {false, true}) {
            SCOPED_TRACE(testing::Message() << +f.wFormatTag << (w64 ? " Wave64" : " WAVE"));
            ScratchPath p;
            ASSERT_EQ(LX_S_OK, (w64 ? LxInitializeWav64 : LxInitializeWav)(p.c_str(), &f, CREATE_ALWAYS));
            // Wave64's size field reads 130 until the first rewrite.
            EXPECT_EQ(w64 ? WantW64Header(f, 130, 112, 0) : WantWaveHeader(f, 38, 46, 0), ReadFileBytes(p.path()));
            ExpectReads(p.path(), Fields(f), 0, w64 ? 112 : 46);
            EXPECT_EQ(1, (w64 ? LxFileIsWave64 : LxFileIsWave)(p.c_str(), FALSE));
        }
    }
}

TEST(WaveInitialize, ReservationRoundsUpAndRefusesTooLittle) {
    // Header 0: the file is left empty.
    const struct { DWORD asked; HRESULT want; DWORD header; } rows[] = {
        {54, LX_S_OK, 54}, {53, LX_S_OK, 54}, {55, LX_S_OK, 56}, {512, LX_S_OK, 512}, {52, LX_E_INVALIDARG, 0},
        {46, LX_E_INVALIDARG, 0}, {0, LX_E_INVALIDARG, 0}, {0xFFFFFFFF, LX_E_INVALIDARG, 0}};
    for (const auto &r : rows) {
        SCOPED_TRACE(r.asked);
        ScratchPath p;
        WriteFileBytes(p.path(), Samples(700));  // an older file is cut either way
        ASSERT_EQ(r.want, LxInitializeWavWithJunk(p.c_str(), &kStereo16, CREATE_ALWAYS, r.asked));
        EXPECT_EQ(r.header ? WantWaveHeader(kStereo16, r.header - 8, r.header, 0) : Bytes(), ReadFileBytes(p.path()));
        if (r.header) ExpectReads(p.path(), kStereo16Fields, 0, r.header);
    }
}

// The format is checked before anything else: before the header sizes of a rewrite, too.
TEST(WaveInitialize, FormatsThatNeedMendingAreRefusedFirst) {
    tWAVEFORMATEX extra = kStereo16, badAlign = kStereo16, floatAlign = Fmt(3, 2, 44100, 32);
    extra.cbSize = 22;
    badAlign.nBlockAlign = 6;
    floatAlign.nBlockAlign = 3;  // not mended for floats: written as given
    const tWAVEFORMATEX bits20 = Fmt(1, 2, 44100, 20);
    const struct { const char *name; const tWAVEFORMATEX *f; HRESULT want; } rows[] = {
        {"extra size", &extra, LXWAVE_E_FORMAT}, {"20 bits", &bits20, LXWAVE_E_FORMAT},
        {"alignment", &badAlign, LXWAVE_E_FORMAT}, {"float alignment", &floatAlign, LX_S_OK},
        {"no format", nullptr, LX_E_POINTER}};
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        ScratchPath p;
        EXPECT_EQ(r.want, LxInitializeWav(p.c_str(), r.f, CREATE_ALWAYS));
        EXPECT_EQ(r.want, LxInitializeWav64(p.c_str(), r.f, CREATE_ALWAYS));
        EXPECT_EQ(r.want, LxInitializeWavWithJunk(p.c_str(), r.f, CREATE_ALWAYS, 512));
        WriteFileBytes(p.path(), Samples(100));
        HANDLE h = OpenRW(p.path());
        const HRESULT insert = r.want == LX_S_OK ? LXRIFF_E_NEGSIZE : r.want;
        EXPECT_EQ(insert, LxInsertWavHeader(h, r.f, 0, 47));
        EXPECT_EQ(insert, LxInsertW64Header(h, r.f, 0, 113));
        CloseHandle(h);
        EXPECT_EQ(Samples(100), ReadFileBytes(p.path()));
    }
}

TEST(WaveInitialize, DispositionsAsWindowsTakesThem) {
    // 3 is taken as 5 and 4 as 2: an older file is cut either way.
    const struct { DWORD disposition; bool exists; HRESULT want; } rows[] = {
        {CREATE_NEW, false, LX_S_OK},          {CREATE_NEW, true, LXWAVE_E_OPEN}, {OPEN_EXISTING, true, LX_S_OK},
        {OPEN_EXISTING, false, LXWAVE_E_OPEN}, {OPEN_ALWAYS, true, LX_S_OK},      {0, true, LXWAVE_E_OPEN}};
    for (const auto &r : rows) {
        SCOPED_TRACE(testing::Message() << r.disposition << (r.exists ? " existing" : " new"));
        ScratchPath p;
        if (r.exists) WriteFileBytes(p.path(), Samples(1000));
        ASSERT_EQ(r.want, LxInitializeWav(p.c_str(), &kStereo16, r.disposition));
        // Opened or not, an older file is never left with a tail behind the header.
        EXPECT_EQ(r.want == LX_S_OK ? 46u : r.exists ? 1000u : 0u, ReadFileBytes(p.path()).size());
    }
}

TEST(WaveInsertHeader, SizesRefusedAndHeadersWritten) {
    const struct { bool w64; DWORD fileLength; ULONGLONG header; HRESULT want; } rows[] = {
        {false, 600, 46, LX_S_OK},           {false, 600, 54, LX_S_OK},           {false, 600, 512, LX_S_OK},
        {false, 600, 56, LX_S_OK},           {false, 46, 46, LX_S_OK},            {false, 45, 46, LXRIFF_E_NEGSIZE},
        {false, 600, 52, LXRIFF_E_NEGSIZE},  {false, 600, 53, LXRIFF_E_NEGSIZE},  {false, 600, 44, LXRIFF_E_NEGSIZE},
        {false, 600, 513, LXRIFF_E_NEGSIZE}, {true, 600, 112, LX_S_OK},           {true, 600, 136, LX_S_OK},
        {true, 600, 512, LX_S_OK},           {true, 600, 144, LX_S_OK},           {true, 112, 112, LX_S_OK},
        {true, 111, 112, LXRIFF_E_NEGSIZE},  {true, 600, 120, LXRIFF_E_NEGSIZE},  {true, 600, 128, LXRIFF_E_NEGSIZE},
        {true, 600, 104, LXRIFF_E_NEGSIZE},  {true, 600, 113, LXRIFF_E_NEGSIZE},  {true, 600, 516, LXRIFF_E_NEGSIZE},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(testing::Message() << (r.w64 ? "Wave64 " : "WAVE ") << r.fileLength << " bytes, H " << r.header);
        ScratchPath p;
        const Bytes before = Samples(r.fileLength, 9);
        WriteFileBytes(p.path(), before);
        HANDLE h = OpenRW(p.path());
        SeekTo(h, 33);
        const ULONGLONG data = r.fileLength > r.header ? r.fileLength - r.header : 0;
        EXPECT_EQ(r.want, r.w64 ? LxInsertW64Header(h, &kStereo16, data, r.header)
                                : LxInsertWavHeader(h, &kStereo16, (DWORD)data, (DWORD)r.header));
        EXPECT_EQ(33u, Pos(h));
        CloseHandle(h);
        if (r.want != LX_S_OK) {
            EXPECT_EQ(before, ReadFileBytes(p.path()));
            continue;
        }
        EXPECT_EQ(WithHeader(r.w64, before, r.header, 1), ReadFileBytes(p.path()));
        ExpectReads(p.path(), kStereo16Fields, data / 4, r.header);
    }
}

TEST(WaveSetFormat, WaveAtTheStartAiffInPlaceAndRefusals) {
    ScratchPath p;
    const Bytes wave = Canonical(kStereo16, Samples(40));
    WriteFileBytes(p.path(), wave);
    const tWAVEFORMATEX mono = Fmt(1, 1, 22050, 16), mono8 = Fmt(1, 1, 22050, 8), flt = Fmt(3, 2, 44100, 32);
    ASSERT_EQ(LX_S_OK, LxSetFileWfx(p.c_str(), &mono));
    // No seek to the old chunk: the new one lands at offset 0.
    Bytes want = WaveImage().Chunk("fmt ", Record18(mono)).Get();
    want.insert(want.end(), wave.begin() + want.size(), wave.end());
    EXPECT_EQ(want, ReadFileBytes(p.path()));

    const Bytes aiff = ifftest::Aiff(ifftest::Comm(2, 10, 16, ifftest::kRate44100), ifftest::Ssnd(0, 0, Samples(40)));
    WriteFileBytes(p.path(), aiff);
    ASSERT_EQ(LX_S_OK, LxSetFileWfx(p.c_str(), &mono8));
    ExpectReads(p.path(), {0xFE01, 1, 22050, 22050, 1, 8, 0}, 10, 54);  // the count of "COMM" stays
    tWAVEFORMATEX badAlign = kStereo16;
    badAlign.nBlockAlign = 2;
    EXPECT_EQ(LXWAVE_E_FORMAT, LxSetFileWfx(p.c_str(), &badAlign));
    EXPECT_EQ(LXWAVE_E_OPEN, LxSetFileWfx((lxtest::ExeDir() + "missing.aif").c_str(), &kStereo16));
    EXPECT_EQ(LX_E_POINTER, LxSetFileWfx(p.c_str(), nullptr));
    // The AIFF refusals keep their handle open, so these files stay behind, in the temporary folder.
    char temp[MAX_PATH];
    GetTempPathA(MAX_PATH, temp);
    const std::string keptA = temp + lxtest::UniqueName("wave_setfloat") + ".tmp";
    const std::string keptB = temp + lxtest::UniqueName("wave_setw64") + ".tmp";
    WriteFileBytes(keptA, aiff);
    EXPECT_EQ(LXAIFF_E_NOTPCM, LxSetFileWfx(keptA.c_str(), &flt));
    WriteFileBytes(keptB, W64Canonical(kStereo16, Samples(8)));
    EXPECT_EQ(LXIFF_E_NOTAIFF, LxSetFileWfx(keptB.c_str(), &kStereo16));
}

// The candidate format is mended field by field towards the fallback; rate and alignment are always recomputed and
// the extra size cleared. The audio starts behind the data chunk, else behind a "data" marker that a byte scan
// finds, else at the limit. The header is written as the writers make it, in whole frames.
TEST(WaveRepair, FormatAndStartOfTheAudio) {
    const tWAVEFORMATEX fb = Fmt(3, 1, 48000, 64), noBytes = Fmt(1, 0, 44100, 16);
    const Bytes rec = Record18(kStereo16);
    auto wave = [](const tWAVEFORMATEX &f) {
        Bytes r = Record18(f);
        r[8] = 0x55, r[12] = 0x77, r[16] = 9;
        return WaveImage().Header().Chunk("fmt ", r).Chunk("data", Samples(96)).Close();
    };
    // "data" that the byte scan must find: behind a chunk with a broken size.
    const Bytes broken =
        With(WaveImage().Header().Chunk("fmt ", rec).Chunk("JUNK", Bytes(20)).Chunk("data", Samples(40)).Close(), 42,
             0x7FFFFFF0);
    const Bytes w64Broken =  // a junk size below its header
        With(W64Image().Header().Chunk(W64Fmt(), rec).Chunk(W64Junk(), Bytes(40)).Chunk(W64Data(), Samples(64)).Close(),
             104, 5, 8);
    // The marker spans the first and second scan block.
    Bytes straddle = WaveImage().Header().Chunk("fmt ", rec).Tag("JUNK").Word(0xFFFFFFFF).Get();
    straddle.resize(38 + 4094, 0);
    straddle = WaveImage().Raw(straddle).Tag("data").Word(0).Raw(Samples(80)).Get();
    const Bytes fmt16Fact = WaveImage().Header().Chunk("fmt ", Bytes(rec.begin(), rec.end() - 2))
                                .Chunk("fact", Bytes(4)).Chunk("data", Samples(40)).Close();
    const Bytes oddMarker = WaveImage().Header().Chunk("fmt ", rec).Raw({0}).Tag("data").Word(0).Raw(Samples(21)).Get();
    const ULONGLONG any = ~0ULL;
    // The format read back from the repaired file, none when refused, and where its audio starts.
    const struct { const char *name; bool w64; Bytes image; const tWAVEFORMATEX *fb; ULONGLONG limit;
                   std::vector<DWORD> format; ULONGLONG start; } rows[] = {
        {"rate 1999", false, wave(Fmt(1, 1, 1999, 8)), nullptr, any, {1, 1, 44100, 44100, 1, 8, 0}, 46},
        {"rate 2000", false, wave(Fmt(1, 1, 2000, 8)), nullptr, any, {1, 1, 2000, 2000, 1, 8, 0}, 46},
        {"rate 192000", false, wave(Fmt(1, 1, 192000, 8)), nullptr, any, {1, 1, 192000, 192000, 1, 8, 0}, 46},
        {"rate 192001", false, wave(Fmt(1, 1, 192001, 8)), &fb, any, {1, 1, 48000, 48000, 1, 8, 0}, 46},
        {"three channels", false, wave(Fmt(1, 3, 8000, 16)), nullptr, any, {1, 2, 8000, 32000, 4, 16, 0}, 46},
        {"no channels", false, wave(Fmt(1, 0, 8000, 16)), &fb, any, {1, 1, 8000, 16000, 2, 16, 0}, 46},
        {"private tag", false, wave(Fmt(0xFE01, 1, 8000, 8)), nullptr, any, {1, 1, 8000, 8000, 1, 8, 0}, 46},
        {"private tag, float fallback", false, wave(Fmt(0xFE01, 1, 8000, 8)), &fb, any, {3, 1, 8000, 64000, 8, 64, 0},
         46},
        {"float 64", false, wave(Fmt(3, 2, 8000, 64)), nullptr, any, {3, 2, 8000, 128000, 16, 64, 0}, 46},
        {"float 16 bits", false, wave(Fmt(3, 2, 8000, 16)), nullptr, any, {3, 2, 8000, 64000, 8, 32, 0}, 46},
        {"float 16 bits, wide fallback", false, wave(Fmt(3, 2, 8000, 16)), &fb, any, {3, 2, 8000, 128000, 16, 64, 0},
         46},
        {"PCM 24", false, wave(Fmt(1, 2, 8000, 24)), nullptr, any, {1, 2, 8000, 48000, 6, 24, 0}, 46},
        {"PCM 20", false, wave(Fmt(1, 2, 8000, 20)), nullptr, any, {1, 2, 8000, 32000, 4, 16, 0}, 46},
        {"PCM 12, wide fallback", false, wave(Fmt(1, 2, 8000, 12)), &fb, any, {1, 2, 8000, 64000, 8, 32, 0}, 46},
        {"fallback without bytes", false, wave(Fmt(1, 5, 44100, 16)), &noBytes, any, {}, 0},
        {"reserved 512", false, WaveImage().Header().Chunk("fmt ", rec).Chunk("JUNK", Bytes(458))
                                    .Chunk("data", Samples(40)).Close(), nullptr, any, kStereo16Fields, 512},
        {"scan past a broken chunk", false, broken, nullptr, any, kStereo16Fields, 38 + 28 + 8},
        {"scan across blocks", false, straddle, nullptr, any, kStereo16Fields, 38 + 4094 + 8},
        {"fmt 16, fact: scan finds data", false, fmt16Fact, nullptr, any, kStereo16Fields, 36 + 12 + 8},
        {"fmt 16 alone: marker at 36 unseen, audio from the limit", false, Canonical(kStereo16, Samples(60), 16),
         nullptr, 64, kStereo16Fields, 64},
        {"marker behind the limit", false, broken, nullptr, 70, kStereo16Fields, 70},
        {"limit odd", false, broken, nullptr, 71, {}, 0},
        {"limit in 47 to 53", false, broken, nullptr, 50, {}, 0},
        {"marker at an odd place", false, oddMarker, nullptr, any, {}, 0},
        {"Wave64", true, W64Canonical(kStereo16, Samples(64)), nullptr, any, kStereo16Fields, 112},
        {"Wave64 scan past a broken junk", true, w64Broken, nullptr, any, kStereo16Fields, 88 + 64 + 24},
        {"Wave64 candidate mended", true, W64Canonical(Fmt(0xFE02, 6, 500, 13), Samples(64)), nullptr, any,
         kStereo16Fields, 112},
        {"Wave64 fallback without bytes", true, W64Canonical(Fmt(1, 5, 44100, 16), Samples(64)), &noBytes, any, {}, 0},
        {"Wave64 limit rounded down to 8", true, w64Broken, nullptr, 143, kStereo16Fields, 136},
        {"Wave64 limit 120", true, w64Broken, nullptr, 120, {}, 0},
    };
    ScratchPath p;
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        WriteFileBytes(p.path(), r.image);
        const Repaired got = RepairChecked(p.path(), r.w64, r.fb, r.limit);
        const std::vector<DWORD> &w = r.format;
        EXPECT_EQ(!w.empty() ? LX_S_OK : r.fb == &noBytes ? LXWAVE_E_FORMAT : LXRIFF_E_NEGSIZE, got.hr);
        EXPECT_EQ(w, got.format);
        EXPECT_EQ(r.start, got.offset);
        if (w.empty()) continue;
        const tWAVEFORMATEX f = Fmt((WORD)w[0], (WORD)w[1], w[2], (WORD)w[5]);
        EXPECT_EQ(WithHeader(r.w64, r.image, r.start, w[4], f), ReadFileBytes(p.path()));
    }
}

}  // namespace
