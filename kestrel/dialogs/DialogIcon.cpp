#include "kestrel/dialogs/DialogIcon.h"

#include <QPixmap>
#include <string>

#include "kestrel/box/PicBox.h"
#include "kestrel/image/Dib.h"
#include "kestrel/storage/BuiltInData.h"
#include "kestrel/storage/QvResourceStorage.h"

namespace kestrel {
namespace {

QImage ToImage(const Dib& image, const Dib* mask) {
    QImage result(image.biWidth, image.biHeight, QImage::Format_ARGB32);
    for (int y = 0; y < result.height(); ++y) {
        const std::uint8_t* from = DibRow(&image, result.height() - 1 - y);
        const std::uint8_t* clear = mask ? DibRow(mask, result.height() - 1 - y) : nullptr;
        auto* to = reinterpret_cast<QRgb*>(result.scanLine(y));
        for (int x = 0; x < result.width(); ++x, from += 3)
            to[x] = qRgba(from[2], from[1], from[0], clear ? 255 - clear[x] : 255);
    }
    return result;
}

void AddPicture(QIcon& icon, qvPicBox& box, const std::string& name, double density) {
    DibPtr image, mask;
    std::int32_t x = 0, y = 0;
    if (!box.Exists(name.c_str()) || !box.GetPic(name.c_str(), "", image, &mask, x, y) || !image) return;
    QPixmap pixmap = QPixmap::fromImage(ToImage(*image, mask.get()));
    pixmap.setDevicePixelRatio(density);
    icon.addPixmap(pixmap);
}

}  // namespace

QIcon DialogIcon(const char* base) {
    QIcon icon;
    if (!*base) return icon;
    QvResourceStorage storage(BuiltInData());
    if (storage.HasFailed()) return icon;
    qvPicBox box(storage, kStorageRead);
    AddPicture(icon, box, base, 1);
    AddPicture(icon, box, std::string(base) + "@2x", 2);
    return icon;
}

}  // namespace kestrel
