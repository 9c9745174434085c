#pragma once
#include <memory>
#include <string>

#include "kestrel/foundation/Export.h"
#include "kestrel/image/WorkImage.h"

namespace kestrel {

class SharedBlocks;

/// A work image that other processes see under a name: its block is segment 0 of the shared blocks of that name. The
/// rows may be written by any of them; nothing orders that. The block is let go with the object.
class KESTREL_API CSharedWorkImage final : public CWorkImage {
public:
    /// The first process under a name makes the picture, of undefined bytes; the others get that picture, whatever the
    /// size they ask for. Null when the system refuses or what is there under the name is no picture.
    static std::unique_ptr<CSharedWorkImage> Open(const std::string& name, int width, int height, bool withImage = true,
                                                  bool withMask = true);
    /// Whether this object made the picture.
    bool IsNew() const;

private:
    CSharedWorkImage(CWorkImage&& picture, std::shared_ptr<SharedBlocks> blocks)
        : CWorkImage(std::move(picture)), blocks_(std::move(blocks)) {}

    std::shared_ptr<SharedBlocks> blocks_;  // the block's deleter holds it as well
};

}  // namespace kestrel
