#pragma once
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "kestrel/box/PicBoxFormat.h"
#include "kestrel/codec/CodecError.h"
#include "kestrel/codec/ImageFormat.h"
#include "kestrel/codec/ImageMetadata.h"
#include "kestrel/foundation/Export.h"
#include "kestrel/image/Dib.h"
#include "kestrel/storage/IQvStorage.h"

namespace kestrel {

class ImageLoader;
struct LoadOptions;

/// A picture of a box, as a list has it.
struct PicEntry {
    std::string storage;    ///< path of the storage that holds its stream; empty for the root
    std::string stream;     ///< the name of the stream
    std::string name;       ///< what the operations of the box find it by: a name...
    std::string extension;  ///< ...and an extension, empty for streams that are no files of their own format
};

/// What is known of a stored picture without decoding it.
struct PicDescription {
    PicHeader header;
    ImageFormat format = ImageFormat::Unknown;  ///< of the encoded image
    std::int64_t width = 0, height = 0;         ///< pixels, upright; 0 when the content tells none
    std::uint64_t bytes = 0;                    ///< of the whole stream
    std::int32_t x = 0, y = 0;                  ///< position, in streams of the box's own form
    bool hasMask = false;                       ///< a mask beside the image, or transparency in its file
    std::string problem;                        ///< why there is no size; empty otherwise
};

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
    /// Bounds for pictures that are decoded; the other fields do not count.
    void SetLimits(const LoadOptions& limits);

    // Settings for writing.
    void SetJpegQuality(int quality) { jpegQuality_ = quality; }
    /// The number of the format that native files are saved in.
    void SetSaveType(int type) { saveType_ = type; }
    /// What encoded images that are added take along; null and 0 for nothing.
    void PutExifData(const void* bytes, std::size_t size);
    void PutIPTCData(const void* bytes, std::size_t size);
    /// Called between the parts of a long copy, so that a host stays alive.
    void SetPump(std::function<void()> pump) { pump_ = std::move(pump); }

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
    /// Why the last picture could not be decoded; no fault when it was, or when decoding was not the trouble.
    const CodecError& LastError() const { return lastError_; }

    // Asking ---------------------------------------------------------------------------------------------------------

    bool Exists(const char* name, const char* extension = "");
    /// Name and flags of the elements of the main storage, then of the older ones inside it. Streams that belong to a
    /// picture (".inf") and storages come as well.
    bool FirstElement(QvString& name, unsigned long& flags);
    bool NextElement(QvString& name, unsigned long& flags);
    /// Every picture, wherever a lookup looks: the storages of all generations, and in the root and in plain folders
    /// the files with the extension of a picture. Records beside pictures and leftovers of killed writers are left out.
    std::vector<PicEntry> Pictures();
    /// Reads the beginning of exactly this stream. A stream whose header shows that it is no file of its own format
    /// gets the whole name of the stream as its name. False when the stream cannot be opened or read.
    bool Describe(PicEntry& entry, PicDescription& description);
    /// Opens exactly this stream, at the first of the `size` bytes of its encoded image. Null when it cannot be opened
    /// or holds less. Throws what its storage throws.
    QvStreamPtr OpenImage(const PicEntry& entry, const PicHeader& header, std::uint64_t& size);

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

    // Writing: a picture is under its name whole, or what was there before is. ---------------------------------------

    /// Adds a picture and returns the bytes that were stored, 0 for a failure. Without `native`, one with a mask, or
    /// one that is not to be embedded (as JPEG), is stored in the box's own form, losslessly except for that; any other
    /// becomes a file of the save type, and loses a mask that such files cannot hold. With `replace` a picture of that
    /// name gives way, whatever its form. Throws `CGalleryError` when the box has no main storage.
    std::uint64_t AddFile(const char* name, Dib* image, Dib* mask, std::int32_t x, std::int32_t y, bool embedded,
                          bool native, bool replace);
    /// Adds a picture file as it is, in pieces: in the new format to the main storage, otherwise to the older ones. The
    /// bytes of a file of up to 16 MB are left in `copy`, the file's size in `size`; both may be null.
    bool AddFile(const char* name, const char* extension, std::FILE* file, bool newFormat,
                 std::vector<std::uint8_t>* copy = nullptr, std::uint64_t* size = nullptr, bool replace = false);
    /// Copies a picture into this box or another one, whose picture of that name gives way. `type` is the extension of
    /// the source; an empty one chooses the older storages. Unless `keep` is set the copy is a file of its own format
    /// where the picture is encoded; a JPEG image with a mask then becomes PNG, or TIFF when `type` says so.
    bool CopyImage(const char* source, qvPicBox& destination, const char* destinationName, bool newFormat,
                   const char* type, bool keep);
    /// Deletes a picture and what belongs to it. False when there is none, too.
    bool Delete(const char* name, const char* extension = "");
    /// Deletes exactly this stream; what lies beside it goes with the last stream of its name.
    bool Delete(const PicEntry& entry);
    /// Deletes the caller's record and the chain that are kept with a picture, as when another one takes its name.
    void DeleteBeside(const std::string& name);
    /// Stores the caller's record beside a picture.
    bool SetImageInfo(const char* name, const PicInfoRecord& record);

    /// The chain text that is kept with a picture; empty without one. It lies in a storage of its own in the root,
    /// "Chains", where other readers do not look for pictures.
    std::string GetChain(const char* name);
    /// An empty text removes it.
    bool SetChain(const char* name, const std::string& text);

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
        bool IsSameAs(const Place& other) const;
    };
    /// A stream that is being written.
    struct Target {
        QvStreamPtr stream;
        Place place;
    };
    /// What `CopyImage` is to do.
    struct CopyJob {
        std::string source;
        qvPicBox& destination;
        std::string name;
        bool newFormat;
        std::string type;
        bool keep;
        bool native = false;   ///< the copy shall be a file of its own format
        bool convert = false;  ///< the image has to be encoded anew
    };
    /// A storage that holds pictures, and its path.
    struct Shelf {
        std::string path;
        IQvStorage* storage;
    };
    std::vector<Shelf> Shelves() const;
    IQvStorage* FindShelf(const PicEntry& entry) const;
    PicHeader ReadHeaderOf(IQvStorage* storage, const PicEntry& entry, QvStream& stream) const;
    void DescribeStream(QvStream& stream, PicDescription& description) const;
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

    static Target OpenTarget(IQvStorage* storage, const std::string& name);
    Target OpenWritePic(const std::string& name, const std::string& extension, bool native, bool newFormat,
                        PicKind kind, std::uint64_t size, bool embedded);
    bool Finish(Target& target, const Place& old, const std::string& name);
    bool WriteOwnForm(QvStream& stream, Dib* image, Dib* mask, std::int32_t x, std::int32_t y,
                      const std::vector<std::uint8_t>& encoded, bool embedded);
    std::uint64_t AddPicture(const std::string& name, Dib* image, Dib* mask, std::int32_t x, std::int32_t y,
                             bool embedded, bool native, bool replace);
    bool AddOpenFile(const std::string& name, const std::string& extension, std::FILE* file, bool newFormat,
                     std::vector<std::uint8_t>* copy, std::uint64_t length, bool replace);
    bool CopyChunks(std::FILE* file, QvStream& stream, std::uint64_t length, std::vector<std::uint8_t>* copy);
    bool Encode(Dib* image, const Dib* mask, int type, const ImageMetadata& metadata,
                std::vector<std::uint8_t>& bytes) const;
    bool DeletePlace(const Place& place);
    bool DeleteEntry(const PicEntry& entry);

    static void CopyLog(int line, const std::string& text);
    bool CopyFromFolder(const CopyJob& job);
    bool CopyFolderFile(const CopyJob& job, IQvStorage* to);
    bool CopyFromBox(CopyJob& job);
    static void ChooseForm(CopyJob& job, Stored& stored);
    static bool CopyToBox(const CopyJob& job, Stored& stored, Target& target);
    static bool CopyAsFile(const CopyJob& job, Stored& stored, char mark, IQvStorage* to, Target& target);
    static bool CopyToFolder(const CopyJob& job, Stored& stored, Target& target);
    bool CopyConverted(const CopyJob& job, Stored& stored, Target& target);

    IQvStorage& root_;
    // The storages of pictures. Names inside the main one: PicMask, OnlyPic, OnlyMask; in the root: Pic_Mask, PicMask.
    QvStoragePtr pictures_, picMask_, onlyPic_, onlyMask_, oldPicMask_, rootPicMask_;
    std::string picturesName_;
    bool keepNative_;
    bool external_;
    std::string basePath_;  // of an external box
    bool failed_ = false;
    int stage_ = -1;  // of the enumeration: -1 the main storage, 0..2 the older ones inside it

    int jpegQuality_ = 95;
    int saveType_ = 1;
    ImageMetadata metadata_;  // EXIF and IPTC data for pictures that are added
    std::function<void()> pump_;

    std::uint8_t whiteBalance_[3] = {1, 0, 1};
    double rawFactors_[4] = {-1, -1, -1, -1};
    double rawFactor_ = 0.6;
    int rawVersion_ = 1;
    std::unique_ptr<LoadOptions> limits_;  // null: those of every loader

    int lastImageType_ = 0;
    ImageMetadata lastMetadata_;
    bool lastDamaged_ = false;
    std::vector<std::string> lastWarnings_;
    CodecError lastError_;
};

}  // namespace kestrel
