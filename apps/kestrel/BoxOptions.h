#pragma once
#include <string>
#include <vector>

/// The options of the commands about boxes, as they were written.
struct BoxOptions {
    std::string box;
    std::string name;
    std::string file;
    std::string target;
    std::vector<std::string> files;
    std::string existing = "refuse";
    std::string form;
    std::string as;
    std::string format;
    std::string quality = "92";
    std::string background = "#FFFFFF";
    std::string set;
    bool clear = false;
    bool json = false;
};

// What moves pictures into boxes and out of them. Each returns the program's exit code.

int AddToBox(const BoxOptions& options);
int GetFromBox(const BoxOptions& options);
int CopyBetweenBoxes(const BoxOptions& options);
