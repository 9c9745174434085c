#include "kestrel/framework/ClassTable.h"

namespace kestrel {

const ClassRow* FindClass(const GUID& clsid) {
    for (const ClassRow& row : ClassTable())
        if (row.description->clsid == clsid) return &row;
    return nullptr;
}

const ClassRow* FindClass(std::string_view progId) {
    for (const ClassRow& row : ClassTable())
        if (row.description->progId == progId) return &row;
    return nullptr;
}

}  // namespace kestrel
