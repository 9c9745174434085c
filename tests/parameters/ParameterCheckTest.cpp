#include "kestrel/parameters/ParameterCheck.h"

#include <gtest/gtest.h>

#include "kestrel/server/ClassTable.h"

namespace kestrel {
namespace {

std::vector<TextNote> Check(const std::string& filter, const char* text) {
    return CheckParameterText(FindClass("TMFilter." + filter + ".1")->parameters(), text);
}

TEST(ParameterCheck, EveryFaultIsTold) {
    const struct {
        const char* filter;
        const char* text;
        TextFault fault;
        const char* words;
    } cases[] = {
        {"RGBColor", "Gren=020", TextFault::UnknownKey, "\"Gren=020\" is not taken up; did you mean Green?"},
        {"RGBColor", "RedG=30", TextFault::UnknownKey, "\"RedG=30\""},
        {"Sepia", "Sepia", TextFault::Unreadable, "write Sepia=0"},
        {"Sepia", "Sepia=abc", TextFault::Unreadable, "\"abc\" is no whole number"},
        {"Sepia", "Sepia = 5", TextFault::Unreadable, "no whole number"},  // a reader skips one character only
        {"Sepia", "Sepia=", TextFault::Unreadable, "whole number"},
        {"Sepia", "Sepia=50%", TextFault::Unreadable, "\"50%\""},
        {"Sepia", "Sepia=99999999999", TextFault::TooLarge, "too large"},
        {"Sepia", "Sepia=101", TextFault::OutOfRange, "outside of 0 to 100"},
        {"Sepia", "Sepia=-1", TextFault::OutOfRange, "outside of 0 to 100"},
        {"Rotate", "Angle=361", TextFault::OutOfRange, "outside"},
        {"Sepia", "XSepia=5", TextFault::OtherKey, "\"XSepia=5\" is read as Sepia"},
        {"Sepia", "Sepia=5, Sepia=6", TextFault::Unread, "\"Sepia=6\" is not taken up; an earlier"},
        {"RGBColor", "RedG=30,Red=5", TextFault::Unread, "\"Red=5\" is not taken up"},
        {"Staub", "MaxRgnSize:5", TextFault::Unreadable, "write MaxRgnSize=5"},
        {"Rotate", "Angle=1.5x", TextFault::Unreadable, "\"1.5x\" is no number"},
        {"Rotate", "Angle=nan", TextFault::Unreadable, "is no number"},
        {"PrintPad", "PadColor=red", TextFault::Unreadable, "hexadecimal"},
        {"PrintPad", "PadColor=1000000", TextFault::OutOfRange, "outside"},
        {"Text", "dir=45", TextFault::OutOfRange, "none of the values"},
        {"GradCurves", "Linear=1", TextFault::NoEffect, "add FilterOn=1"},
    };
    for (const auto& row : cases) {
        const auto notes = Check(row.filter, row.text);
        ASSERT_FALSE(notes.empty()) << row.text;
        EXPECT_EQ(notes.back().fault, row.fault) << row.text << ": " << notes.back().words;
        EXPECT_NE(notes.back().words.find(row.words), std::string::npos) << notes.back().words;
    }
}

TEST(ParameterCheck, WhatFiltersWriteAndReadIsFine) {
    for (const ClassRow& row : ClassTable()) {
        if (!row.IsFilter()) continue;
        const ParameterInfo info = row.parameters();
        for (const std::string& text : {info.defaultText, info.freshText})
            for (const TextNote& note : CheckParameterText(info, text))
                ADD_FAILURE() << row.description->progId << ": " << note.words;
    }
    for (const auto& [filter, text] : {std::pair{"Sepia", ""},
                                       {"Sepia", "Sepia:5"},
                                       {"Sepia", "Sepia=0"},
                                       {"Sepia", "Sepia=100"},
                                       {"Rotate", "Angle=-360"},
                                       {"PrintPad", "PadColor=ffffff"},
                                       {"Gamma", "Red=5"},
                                       {"Shadow", "LightOn=0"},
                                       {"Sharpen", "Sharpness=5,ExtraParam=|SHARP|,Version=2"},
                                       {"Crop", "FixRatio=-1"},
                                       {"Rauchglas", "SrcWidth=5, SrcHeight=7"},
                                       {"RedEye", "N=1,X1=.5,E128=3"},
                                       {"Text", "txt=a b=c"}})
        for (const TextNote& note : Check(filter, text)) ADD_FAILURE() << filter << " " << text << ": " << note.words;
}

}  // namespace
}  // namespace kestrel
