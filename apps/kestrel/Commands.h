#pragma once
#include "apps/kestrel/CommandLine.h"

// Each command adds itself to the program, with what it runs when it is chosen.

void AddApply(const Command& program);
void AddFilters(const Command& program);
void AddFormats(const Command& program);
void AddDescribe(const Command& program);
void AddDialog(const Command& program);
void AddColor(const Command& program);
void AddInfo(const Command& program);
void AddStrings(const Command& program);
void AddSettings(const Command& program);
void AddBox(const Command& program);
void AddStore(const Command& program);
void AddLog(const Command& program);

// For the shells' completion and for the build of the manual pages; `--help` does not list them.
void AddComplete(const Command& program);
void AddManual(const Command& program);
