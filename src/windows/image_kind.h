// What kind of image this code is linked into.
#pragma once

enum class ImageKind
{
    Program, // a process of its own
    Library, // loaded by another program: the process is that program's
};

// A constant of each image, which links one of the two sources that define it: entry/program_image.cpp or
// entry/library_image.cpp.
extern const ImageKind kImageKind;
