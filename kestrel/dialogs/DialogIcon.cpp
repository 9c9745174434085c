#include "kestrel/dialogs/DialogIcon.h"

#include <QPixmap>
#include <QPixmapCache>
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

QPixmap ReadPicture(const char* name) {
    QvResourceStorage storage(BuiltInData());
    if (storage.HasFailed()) return {};
    qvPicBox box(storage, kStorageRead);
    DibPtr image, mask;
    std::int32_t x = 0, y = 0;
    if (!box.Exists(name) || !box.GetPic(name, "", image, &mask, x, y) || !image) return {};
    return QPixmap::fromImage(ToImage(*image, mask.get()));
}

}  // namespace

QIcon DialogIcon(const char* base) {
    QIcon icon;
    if (!*base) return icon;
    for (const char* const size : {"", "@2x"}) {
        const std::string name = std::string(base) + size;
        const QString key = QStringLiteral("kestrel/") + QString::fromStdString(name);
        QPixmap picture;
        if (!QPixmapCache::find(key, &picture)) {
            picture = ReadPicture(name.c_str());
            QPixmapCache::insert(key, picture);
        }
        if (!picture.isNull()) icon.addPixmap(picture);
    }
    return icon;
}

}  // namespace kestrel
