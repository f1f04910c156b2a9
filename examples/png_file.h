/* A picture as a PNG file. */
#ifndef PNG_FILE_H
#define PNG_FILE_H

/* Rows of red, green and blue bytes, from the top down, without gaps. 0, with a line, when the file
 * cannot be written. */
int png_file_write(const char* path, const unsigned char* rgb, int width, int height);

#endif
