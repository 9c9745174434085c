#include "kestrel/kernels/ByteTable.h"

namespace kestrel::kernels {

void ChannelTablesRow(Row row, const ChannelTables& tables) {
    for (std::size_t i = 0; i + 2 < row.size(); i += 3) {
        row[i] = tables.blue[row[i]];
        row[i + 1] = tables.green[row[i + 1]];
        row[i + 2] = tables.red[row[i + 2]];
    }
}

}  // namespace kestrel::kernels
