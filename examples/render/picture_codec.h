// Encoded pictures in memory, PNG and JPEG: textures on their way in, pictures on their way out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "png_image.h"

// More pixels than this make no sense in a texture, and are refused before anything is allocated.
constexpr uint64_t kMostPicturePixels = uint64_t{1} << 27;

// Whether the bytes begin as a PNG or a JPEG does.
bool isPictureKnown(const uint8_t *bytes, size_t count);

// A sentence why such a picture can't be decoded by this build; empty if it can.
std::string whyNoPicture(const uint8_t *bytes, size_t count);

// Three channels; transparency is passed over. Throws std::runtime_error with the reason.
vekr_example::Image decodePicture(const uint8_t *bytes, size_t count);

// Empty if JPEG can be written by this build.
std::string whyNoJpeg();

// Throws std::runtime_error with the reason. The file stays open.
void encodeJpeg(const vekr_example::Image &image, FILE *file);
