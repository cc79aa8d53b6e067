// Makes an image the library that installer packages call. Each image links this source or program_image.cpp.
#include "windows/image_kind.h"

const ImageKind kImageKind = ImageKind::Library;
