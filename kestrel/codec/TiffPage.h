#pragma once
#include <cstdint>
#include <string>

#include "kestrel/codec/Codecs.h"
#include "kestrel/codec/TiffLibrary.h"
#include "kestrel/codec/TiffPixels.h"

namespace kestrel {

/// A page of a TIFF file: how its pixels are made, and what stands beside them.
/// Not installed.
class TiffPage {
public:
    /// The source has to outlive the page.
    TiffPage(ByteReader& source, const TiffLibrary& library);

    /// Opens the page that the options ask for. False with the error set.
    bool Open(const LoadOptions& options, LoadResult& result);
    void TakeMetadata(LoadResult& result);

    const TiffForm& Form() const { return form_; }
    const TiffLibrary& Library() const { return library_; }
    TIFF* File() const { return file_.get(); }
    /// Bytes of the whole file.
    std::uint64_t FileBytes() const { return stream_.Size(); }
    template <class T>
    T Field(std::uint32_t tag, T otherwise) const {
        T value = otherwise;
        return library_.TIFFGetFieldDefaulted(file_.get(), tag, &value) ? value : otherwise;
    }

    /// Why something could not be read.
    std::string Error() const { return stream_.error.empty() ? "the file is damaged" : stream_.error; }
    void SetError(std::string error) { stream_.error = std::move(error); }

private:
    class Stream final : public TiffStream {
    public:
        explicit Stream(ByteReader& from) : from_(from), start_(from.Position()) {}

        std::size_t Read(void* to, std::size_t count) override { return from_.Read(to, count); }
        bool Write(const void*, std::size_t) override { return false; }
        bool Seek(std::uint64_t position) override { return from_.Seek(start_ + position); }
        std::uint64_t Position() const override { return from_.Position() - start_; }
        std::uint64_t Size() const override { return from_.Size() - start_; }
        /// From the first byte of the file on.
        ByteReader Whole() const {
            ByteReader whole = from_;
            whole.Seek(start_);
            return whole;
        }

    private:
        ByteReader& from_;
        std::uint64_t start_;
    };

    bool Turn(const LoadOptions& options, LoadResult& result);
    CodecError ReadForm();
    CodecError FindPalette();
    void FindAlpha();

    const TiffLibrary& library_;
    Stream stream_;
    TiffFile file_;
    TiffForm form_;
};

}  // namespace kestrel
