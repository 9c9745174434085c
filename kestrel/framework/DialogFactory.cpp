#include "kestrel/framework/DialogFactory.h"

#include <atomic>

namespace kestrel {
namespace {
std::atomic<DialogFactory> currentFactory{nullptr};
}  // namespace

void SetDialogFactory(DialogFactory factory) { currentFactory.store(factory); }
DialogFactory GetDialogFactory() { return currentFactory.load(); }

}  // namespace kestrel
