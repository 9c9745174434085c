#include "kestrel/storage/QvError.h"

#include "kestrel/diagnostics/LogSink.h"
#include "kestrel/diagnostics/TMDebugMonitor.h"

namespace kestrel {

CGalleryError::CGalleryError(const std::string& text, int code, const char* source, int line)
    : CQvError("CGalleryError-Exception: " + text, code), place_(Place(source, line)) {
    TMDebugMonitor("QVExeption", "%s(%d):%s", source, line, what());
}

CStorageFileError::CStorageFileError(const std::string& text, int code, const char* source, int line)
    : CQvError("CStorageFileError-Exception: " + text, code), place_(Place(source, line)) {
    LogLine(-1, source, line, Text());
}

}  // namespace kestrel
