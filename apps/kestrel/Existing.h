#pragma once
#include <string>

class Command;

/// What becomes of a picture whose name is taken.
enum class Existing {
    Refuse,   ///< it fails
    Skip,     ///< what is there stays
    Replace,  ///< what is there gives way
    Rename    ///< it gets a number behind its name
};

/// Adds `--existing` to a command.
void AddExistingOption(const Command& command, std::string& text);
/// Throws `console::UsageError` for other words.
Existing ParseExisting(const std::string& text);

/// The name for try `number` of `Existing::Rename`, from 1: "name", "name-2", "name-3".
std::string NumberedName(const std::string& name, int number);
