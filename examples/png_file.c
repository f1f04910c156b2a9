#include "png_file.h"

#include <png.h>
#include <stdio.h>
#include <string.h>

int png_file_write(const char* path, const unsigned char* rgb, int width, int height) {
    png_image image;
    memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    image.width = (png_uint_32)width;
    image.height = (png_uint_32)height;
    image.format = PNG_FORMAT_RGB;
    if (png_image_write_to_file(&image, path, 0, rgb, width * 3, NULL)) return 1;
    printf("  CANNOT WRITE %s: %s\n", path, image.message);
    return 0;
}
