#pragma once
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "kestrel/box/PicBoxFormat.h"
#include "kestrel/codec/ImageMetadata.h"
#include "kestrel/foundation/Export.h"
#include "kestrel/image/Dib.h"
#include "kestrel/storage/IQvStorage.h"

namespace kestrel {

class ImageLoader;

/// Keeps pictures by name in a storage: a compound file, a folder tree, memory, or a plain folder of picture files (an
/// external box). Whatever form a picture has there, it comes out as packed records.
///
/// Operations return false, null or 0 when they fail; the log has a line about it. A box belongs to one thread and may
/// not outlive its root storage. Names are those of `CleanPicName`; pictures that others stored under a name that is
/// not clean are found as well.
class KESTREL_API qvPicBox {
public:
    /// Opens the storages of the box with `mode`. `pictures` names the main one (null: "Pictures"). The two flags add
    /// to those of the root. A main storage that cannot be opened is a failure (`HasFailed`).
    qvPicBox(IQvStorage& root, unsigned long mode, const char* pictures = nullptr, bool keepNative = false,
             bool external = false);
    ~qvPicBox();
    qvPicBox(const qvPicBox&) = delete;
    qvPicBox& operator=(const qvPicBox&) = delete;

    /// Whether anything has failed since the box was opened or `ClearFailure` was called.
    bool HasFailed() const { return failed_; }
    void ClearFailure() { failed_ = false; }
    bool KeepNative() const { return keepNative_; }
    bool External() const { return external_; }

    // Settings for reading raw files: three flags, four factors (below 0: unset) and the brightness, as in
    // `ImageLoader`.
    void SetRawWhiteBalance(const std::uint8_t (&flags)[3], const double (&factors)[4]);
    void SetRawBrightness(double factor) { rawFactor_ = factor; }

    // Reading --------------------------------------------------------------------------------------------------------

    /// Reads a picture: 24-bit image (null for a stored mask) and 8-bit mask (null without one, or when `mask` is). A
    /// preferred size, both sides above 0, may be met by a reduced decoding that is not smaller. The second loader is
    /// used for formats that it reads sooner, where the picture is a file of its own.
    bool GetQuick(const char* name, const char* extension, DibPtr& image, DibPtr* mask, int preferredWidth,
                  int preferredHeight, std::int32_t& x, std::int32_t& y, bool useSecondLoader);
    /// The same at full size by the first loader.
    bool GetPic(const char* name, const char* extension, DibPtr& image, DibPtr* mask, std::int32_t& x, std::int32_t& y);
    /// Of the last picture that was read: the number of its format (0: none), what travels with it, and whether pixels
    /// of it could not be read, with a line each about that.
    int LastImageType() const { return lastImageType_; }
    const ImageMetadata& LastMetadata() const { return lastMetadata_; }
    bool LastWasDamaged() const { return lastDamaged_; }
    const std::vector<std::string>& LastWarnings() const { return lastWarnings_; }

    // Asking ---------------------------------------------------------------------------------------------------------

    bool Exists(const char* name, const char* extension = "");
    /// Name and flags of the elements of the main storage, then of the older ones inside it. Streams that belong to a
    /// picture (".inf") and storages come as well.
    bool FirstElement(QvString& name, unsigned long& flags);
    bool NextElement(QvString& name, unsigned long& flags);

    /// The name that was stored with the caller's record; empty when there is none.
    std::string GetImageInfo(const char* name, PicInfoRecord& record);
    /// The encoded image as it is stored; `size` tells the bytes of `buffer`, then those of the image. False when the
    /// picture is not encoded, or has no image or mask where one is wanted. Null asks for the size.
    bool GetImageFileInfo(const char* name, bool wantPicture, bool wantMask, std::uint64_t& size, void* buffer,
                          const char* extension = "");
    /// The marker segments of a JPEG image, from its start to the beginning of the scan; empty for other images.
    std::vector<std::uint8_t> GetJPegHeader(const char* name, const char* extension = "");
    /// The number of the format that the picture has as a file, and its extension: 0 for one that is not there or not
    /// encoded. A JPEG image with a mask counts as TIFF or PNG, into which a copy would convert it.
    int AnalyzeFile(const char* name, std::string& extension);

private:
    /// A picture that was found; its stream stands at the beginning of the data.
    struct Stored {
        QvStreamPtr stream;
        PicHeader header;
        std::string path;     ///< as the storage tells it
        bool isFile = false;  ///< a file of the system that is the picture, without a header
    };
    /// What is wanted of a picture, and what was read.
    struct Request {
        int width = -1, height = -1;
        bool mask = true;
        bool secondLoader = false;
        bool Reduced() const { return width > 0 && height > 0; }
    };
    struct Loaded {
        DibPtr image, mask;
        std::int32_t x = 0, y = 0;
    };

    static void Log(int line, const std::string& text);
    /// Sets the failure and logs a line; always false.
    bool Fail(int line, const std::string& text);
    static int FileType(const Stored& stored);
    static int TypeWithMask(std::string_view type);

    bool Lookup(const std::string& name, const std::string& extension, Stored& found);
    bool LookupNative(const std::string& name, const std::string& extension, bool lenient, Stored& found);
    bool LookupOlder(const std::string& name, Stored& found);
    bool OpenNative(IQvStorage* storage, const std::string& name, const std::string& extension, bool lenient,
                    Stored& found);
    bool ReadHeader(const std::string& name, Stored& found);
    bool OpenPlain(const std::string& name, Stored& found);
    bool OpenExternal(const std::string& name, const std::string& extension, Stored& found);
    std::string ExternalName(const std::string& name, const std::string& extension);
    std::string ExternalPath(const std::string& name) const;

    /// Where deleting finds a picture.
    struct Place {
        IQvStorage* storage = nullptr;
        std::string name;
        explicit operator bool() const { return storage != nullptr; }
    };
    Place FindPlace(const std::string& name, const std::string& extension);
    Place FindNativePlace(const std::string& name, const std::string& extension);
    IQvStorage* Stage() const;
    bool NextStage(QvString& name, unsigned long& flags);

    bool Read(const std::string& name, const std::string& extension, const Request& request, Loaded& loaded);
    bool ReadOwnForm(Stored& stored, const Request& request, Loaded& loaded);
    bool ReadNative(Stored& stored, const Request& request, Loaded& loaded);
    bool ReadBySecondLoader(const std::string& path, const Request& request, Loaded& loaded);
    bool Take(ImageLoader& loader, const Request& request, Loaded& loaded);
    void SetOptions(ImageLoader& loader, const Request& request) const;
    void ForgetLast();

    IQvStorage& root_;
    // The storages of pictures. Names inside the main one: PicMask, OnlyPic, OnlyMask; in the root: Pic_Mask, PicMask.
    QvStoragePtr pictures_, picMask_, onlyPic_, onlyMask_, oldPicMask_, rootPicMask_;
    bool keepNative_;
    bool external_;
    std::string basePath_;  // of an external box
    bool failed_ = false;
    int stage_ = -1;  // of the enumeration: -1 the main storage, 0..2 the older ones inside it

    std::uint8_t whiteBalance_[3] = {1, 0, 1};
    double rawFactors_[4] = {-1, -1, -1, -1};
    double rawFactor_ = 0.6;
    int rawVersion_ = 1;

    int lastImageType_ = 0;
    ImageMetadata lastMetadata_;
    bool lastDamaged_ = false;
    std::vector<std::string> lastWarnings_;
};

}  // namespace kestrel
