#include "kestrel/storage/CompoundSession.h"

#include <cerrno>

#include "kestrel/diagnostics/TMDebugMonitor.h"
#include "kestrel/storage/ElementName.h"
#include "kestrel/storage/StorageError.h"
#include "kestrel/storage/StorageWait.h"

namespace kestrel {
namespace {

constexpr std::chrono::milliseconds kBetweenTries{10};

}  // namespace

HRESULT ResultOf(compound::Error error) {
    using compound::Error;
    constexpr auto stg = [](unsigned code) { return static_cast<HRESULT>(0x80030000u | code); };
    switch (error) {
        case Error::kNone:
            return S_OK;
        case Error::kNotFound:
            return STG_E_FILENOTFOUND;
        case Error::kPathNotFound:
            return STG_E_PATHNOTFOUND;
        case Error::kExists:
            return stg(0x50);
        case Error::kWrongKind:
            return stg(0x01);
        case Error::kAccessDenied:
            return STG_E_ACCESSDENIED;
        case Error::kShareViolation:
            return STG_E_SHAREVIOLATION;
        case Error::kLockViolation:
            return STG_E_LOCKVIOLATION;
        case Error::kTooManyOpenFiles:
            return stg(0x04);
        case Error::kDiskFull:
        case Error::kTooLarge:
            return stg(0x70);
        case Error::kReadFault:
            return stg(0x1E);
        case Error::kWriteFault:
            return stg(0x1D);
        case Error::kNotCompound:
            return stg(0xFB);
        case Error::kDamaged:
            return stg(0x109);
        case Error::kInvalidName:
            return stg(0xFC);
        case Error::kInvalidArgument:
            return stg(0x57);
        case Error::kReverted:
            return stg(0x102);
        case Error::kOutOfMemory:
            return stg(0x08);
    }
    return E_FAIL;
}

QvStat StatOf(const compound::ElementInfo& info) {
    constexpr auto seconds = [](std::uint64_t time) {  // from 100 ns since 1601
        return time == 0 ? 0 : static_cast<std::int64_t>(time / 10000000) - 11644473600;
    };
    QvStat stat;
    stat.name = ElementText(info.name).c_str();
    stat.flags = info.kind == compound::ElementKind::kStream ? kElementStream : kElementStorage;
    stat.size = info.size;
    stat.created = seconds(info.created);
    stat.modified = seconds(info.modified);
    stat.classId = info.classId;
    stat.stateBits = info.userFlags;
    return stat;
}

bool HeldByOthers(HRESULT result) {
    return result == STG_E_ACCESSDENIED || result == STG_E_SHAREVIOLATION || result == STG_E_LOCKVIOLATION;
}

bool HeldByOthersForStreams(HRESULT result) { return result == STG_E_ACCESSDENIED || result == 0x21 || result == 0x20; }

void TellFailure(bool patient, compound::Error error, const std::string& name, const char* before) {
    const char* why = compound::Text(error);
    SetLastStorageError(name + ": " + why);
    if (!patient) return;
    TMDebugMonitor("QvStorage_Zephon", "%s.\r\n%s%s in new QVStorage\n ", why, before, name.c_str());
    if (errno == 0) errno = ResultOf(error);
}

bool WaitForNextTry(bool patient, compound::Error error, MayPass mayPass) {
    if (!patient || !mayPass(ResultOf(error))) return false;
    WaitForStorage(kBetweenTries);
    return true;
}

}  // namespace kestrel
