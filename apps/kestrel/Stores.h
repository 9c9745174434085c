#pragma once
#include <functional>
#include <string>
#include <vector>

#include "apps/kestrel/StoreJson.h"
#include "kestrel/storage/IQvStorage.h"

// What the commands about stores share.

/// Bytes that are read at a time.
inline constexpr std::size_t kStoreChunk = 1 << 20;

/// Names come from files of anybody: control characters are shown as their number.
std::string Shown(const std::string& name);

/// Throws `console::Failure` with one line.
[[noreturn]] void FailStore(const std::string& what, const std::string& why);
/// Fails with the line that the storage left about an element, which may name it already.
[[noreturn]] void FailWithStorage(const std::string& store, const std::string& name);

/// What lies at a path: nothing, a compound file, the folder tree of a box (x.box lives in x.box_qv), a plain folder.
enum class Layout { Missing, Compound, Tree, Folder };
Layout LayoutOf(const std::string& path);

/// Fails when the store cannot be opened. With the create bit a store that is missing is made, of the kind that `as`
/// says: "compound" (also when empty), "tree" or "folder".
kestrel::QvStoragePtr OpenStore(const std::string& path, unsigned long mode, const std::string& as = "");

/// Whether the element of that name is a storage; an empty name is the store itself. Fails when there is none.
bool IsStorage(kestrel::IQvStorage& store, const std::string& path, const std::string& name);

/// The elements of the storage `start`, which is empty for the whole store; with `deep` those below them as well, each
/// after the storage that holds it.
std::vector<StoreElement> StoreElements(kestrel::IQvStorage& store, const std::string& start, bool deep);

/// A command whose storages of folders throw where a file fails; here that is one more line.
std::function<int()> Guarded(std::function<int()> work);
