// Makes an image the program. Each image links this source or library_image.cpp.
#include "windows/image_kind.h"

const ImageKind kImageKind = ImageKind::Program;
