#pragma once
#include <memory>
#include <set>
#include <string>
#include <utility>

#include "kestrel/foundation/QvString.h"
#include "kestrel/foundation/Result.h"
#include "kestrel/storage/QvStream.h"
#include "kestrel/storage/compound/CompoundFile.h"

namespace kestrel {

// The platform's results of storages, as far as a rule asks for one.
inline constexpr HRESULT STG_E_FILENOTFOUND = static_cast<HRESULT>(0x80030002);
inline constexpr HRESULT STG_E_PATHNOTFOUND = static_cast<HRESULT>(0x80030003);
inline constexpr HRESULT STG_E_ACCESSDENIED = static_cast<HRESULT>(0x80030005);
inline constexpr HRESULT STG_E_SHAREVIOLATION = static_cast<HRESULT>(0x80030020);
inline constexpr HRESULT STG_E_LOCKVIOLATION = static_cast<HRESULT>(0x80030021);

HRESULT ResultOf(compound::Error error);

QvStat StatOf(const compound::ElementInfo& info);

/// What the storages and streams of one open compound file share. Not installed.
struct CompoundSession {
    CompoundSession(compound::CompoundFile opened, bool mayWrite, bool isPatient, const QvString& folder = {})
        : file(std::move(opened)), writable(mayWrite), patient(isPatient), path(folder) {}

    compound::CompoundFile file;
    bool writable;
    bool patient;   ///< openings are tried again, and the debug monitor is told of failures
    QvString path;  ///< folder of the file

    bool paused = false;  ///< closing does not commit for now

    /// Makes all changes true at once, unless that is paused.
    compound::Error Commit() { return paused ? compound::Error::kNone : file.Commit(); }

    /// Names of streams that are still being written, in whatever storage.
    std::set<std::u16string> unfinished;
};

/// An element and the storage that holds it.
struct CompoundPlace {
    std::shared_ptr<CompoundSession> session;
    std::shared_ptr<compound::Storage> parent;
    std::u16string name;
};

/// Which failures of an opening are worth another try.
using MayPass = bool (*)(HRESULT);
bool HeldByOthers(HRESULT result);
/// Opening a stream compares two of the three codes by their last bits only, which no result has: only a denied access
/// leads to another try there.
bool HeldByOthersForStreams(HRESULT result);

/// Keeps a line for a person, and tells the debug monitor when the session is patient: `before` stands in front of
/// the name.
void TellFailure(bool patient, compound::Error error, const std::string& name, const char* before = "");

/// Waits before another try of an opening, and says whether there is to be one.
bool WaitForNextTry(bool patient, compound::Error error, MayPass mayPass);

inline constexpr int kOpenTries = 100;

/// Runs an opening, which gives a `compound::Result`, until it succeeds, at most 100 times while others are in the way.
template <class Open>
auto OpenPatiently(bool patient, const std::string& name, const Open& open, MayPass mayPass = HeldByOthers,
                   const char* before = "") {
    for (int tries = 1;; ++tries) {
        auto result = open();
        if (result) return result;
        TellFailure(patient, result.Failure(), name, before);
        if (!WaitForNextTry(patient, result.Failure(), mayPass) || tries == kOpenTries) return result;
    }
}

}  // namespace kestrel
