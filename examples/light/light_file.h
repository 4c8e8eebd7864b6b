// Files of light by their names' endings: .hdr (Radiance) and .exr (OpenEXR) hold linear light of any brightness, .png what a
// screen shows.
#pragma once

#include <string>

#include "panorama.h"

// Whether a file of this name holds linear light: .hdr, .exr.
bool isLightFile(const std::string &path);

// A sentence why files of this name can't be read or written by this build; empty if they can. For .png it is empty.
std::string whyNoLightFile(const std::string &path);

// Reads .hdr, .exr and, whatever else the name, .png, which is turned into linear light. Throws std::runtime_error with one
// line that names file and reason. To be called before the program has started threads.
Panorama readPanorama(const std::string &path);

// Writes linear light as .hdr or .exr by the name of the target; the caller commits. Throws std::runtime_error.
void writeLight(const Panorama &light, vekr_example::OutputFile &output);

// What readers and writers of one format do. `path` is opened; reasons are thrown as std::runtime_error without the name.
Panorama readRadiance(const std::string &path);
void writeRadiance(const Panorama &light, const std::string &path);
Panorama readExr(const std::string &path);
void writeExr(const Panorama &light, const std::string &path);

// Larger pictures are refused: 1.6 GB of light.
constexpr uint64_t kMostLightPixels = uint64_t{1} << 27;
