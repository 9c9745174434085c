#include "kestrel/storage/SharedWorkImage.h"

#include <new>

#include "kestrel/storage/SharedBlocks.h"

namespace kestrel {

std::unique_ptr<CSharedWorkImage> CSharedWorkImage::Open(const std::string& name, int width, int height, bool withImage,
                                                         bool withMask) {
    // The block is let go by its deleter, which has to know the allocator that is being made.
    const auto allocator = std::make_shared<std::shared_ptr<SharedBlocks>>();
    const auto owned = [&allocator](std::uint8_t* block) {
        return BlockPtr(block, [allocator](std::uint8_t* bytes) {
            if (*allocator) (*allocator)->Free(bytes);  // else its own end does
        });
    };
    std::unique_ptr<CWorkImage> picture;
    const auto begin = [&](SharedBlocks& blocks) {
        if (!blocks.IsNew()) {
            BlockPtr block = owned(blocks.Open(0));
            const std::size_t size = blocks.SizeOf(block.get());
            picture = FromBlock(std::move(block), size);
        } else {
            picture = std::make_unique<CWorkImage>(width, height, withImage, withMask,
                                                   [&](std::size_t size) { return owned(blocks.Allocate(size)); });
        }
    };
    try {
        *allocator = std::make_shared<SharedBlocks>(name, begin);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
    if (!picture) return nullptr;
    return std::unique_ptr<CSharedWorkImage>(new CSharedWorkImage(std::move(*picture), *allocator));
}

bool CSharedWorkImage::IsNew() const { return blocks_->IsNew(); }

}  // namespace kestrel
