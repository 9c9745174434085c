#pragma once
#include <CLI/CLI.hpp>

// Each command adds itself to the program, with what it runs when it is chosen.

void AddApply(CLI::App& program);
void AddFilters(CLI::App& program);
void AddDescribe(CLI::App& program);
void AddColor(CLI::App& program);
void AddSettings(CLI::App& program);
void AddLog(CLI::App& program);
