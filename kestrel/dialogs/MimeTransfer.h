#pragma once
#include <memory>

#include "kestrel/editing/IDataObject.h"
#include "kestrel/foundation/Export.h"
#include "kestrel/foundation/Ref.h"

class QMimeData;

namespace kestrel {

/// What an object offers, for a drag or the clipboard: each format under its own name, and beside them a plain text: a
/// chain text, a filter with its parameter text in the same form (`ProgID`, TAB, text), or the parameter text alone.
KESTREL_API std::unique_ptr<QMimeData> ToMimeData(IDataObject* data);

/// What was dropped or pasted, in the formats of kestrel/editing/DataTransfer.h; an object without any for foreign
/// data. A plain text counts when it has the form above and none of the formats is there. Data of more than a megabyte
/// is left out.
KESTREL_API Ref<IDataObject> FromMimeData(const QMimeData* mime);

}  // namespace kestrel
