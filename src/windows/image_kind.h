// What kind of image this code is part of.
#pragma once

// Says that this image is a library, which another program loads. Called before any other object of the image is built.
void BecomeLibraryImage();

// Whether this image is a library: the process is then another program's.
bool IsLibraryImage();
