/*
 * SMPTE values and frame counts. Drop frame (type 2) numbers 29.97 frames a
 * second on a 30-frame face by skipping frames 0 and 1 at the start of each
 * minute that is not a multiple of ten.
 */
#include "smpte.h"

namespace {

struct SmpteType {
    LONGLONG rate; /* nominal frames per second */
    LONGLONG wrap; /* frames in 24 hours */
};

const LONGLONG kDropWrap = 2589407;

bool TypeInfo(DWORD type, SmpteType *info) {
    switch (type) {
    case 1:
    case 5: *info = {30, 2592000}; return true;
    case 2: *info = {30, kDropWrap}; return true;
    case 3: *info = {25, 2160000}; return true;
    case 4: *info = {24, 2073600}; return true;
    default: return false;
    }
}

/* Drop frame: the nominal 30-frame number of a real frame count, found as a
   fixed point, since the frames to skip depend on the minute reached. */
LONGLONG DropToNominal(LONGLONG n) {
    LONGLONG dropped = 0;
    for (;;) {
        LONGLONG h = n / 108000;
        LONGLONG m = (n - h * 108000) / 1800;
        LONGLONG d = 108 * h + 2 * (m - m / 10);
        if (d == dropped) return n;
        n += d - dropped;
        dropped = d;
    }
}

bool IsDroppedSlot(DWORD minutes, DWORD seconds, DWORD frames) {
    return frames < 2 && seconds == 0 && minutes % 10 != 0;
}

}  // namespace

LXEXPORT(HRESULT) FrameCountToSMPTE(_smpteval *value, LONGLONG count) {
    if (!value) return LX_E_INVALIDARG;
    SmpteType t;
    if (!TypeInfo(value->type, &t)) {
        value->hours = value->minutes = value->seconds = value->frames = 0;
        return LX_E_INVALIDARG;
    }
    LONGLONG n = count < 0 ? 0 : count % t.wrap;
    if (value->type == 2) {
        /* The second reduction folds the last frames of the short day onto
           its start; that is the established numbering. */
        n = DropToNominal(n) % kDropWrap;
    }
    LONGLONG perHour = t.rate * 3600, perMinute = t.rate * 60;
    value->hours = (DWORD)(n / perHour);
    n %= perHour;
    value->minutes = (DWORD)(n / perMinute);
    n %= perMinute;
    value->seconds = (DWORD)(n / t.rate);
    value->frames = (DWORD)(n % t.rate);
    if (value->type == 2 && IsDroppedSlot(value->minutes, value->seconds, value->frames))
        value->frames = 2;
    return LX_S_OK;
}

LXEXPORT(LONGLONG) SMPTEToFrameCount(const _smpteval *value) {
    if (!value) return 0;
    SmpteType t;
    if (!TypeInfo(value->type, &t)) return 0;
    LONGLONG hours = value->hours, minutes = value->minutes;
    LONGLONG seconds = value->seconds, frames = value->frames;
    LONGLONG whole = (seconds + (minutes + hours * 60) * 60) * t.rate;
    if (value->type != 2) return whole + frames;
    if (IsDroppedSlot(value->minutes, value->seconds, value->frames)) frames = 2;
    LONGLONG dropped = hours * 108;
    if (minutes) dropped += 2 * (minutes - minutes / 10);
    return whole - dropped + frames;
}
