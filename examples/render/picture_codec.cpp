#include "picture_codec.h"

#include <png.h>

#include <algorithm>

#include <memory>
#include <stdexcept>

#ifdef VEKR_HAVE_JPEG
#include <csetjmp>
// jpeglib.h asks for what stands before it.
#include <jpeglib.h>
// Its codes of warnings.
#include <jerror.h>
#endif

namespace {

bool isPng(const uint8_t *bytes, size_t count) { return count >= 8 && png_sig_cmp(bytes, 0, 8) == 0; }
bool isJpeg(const uint8_t *bytes, size_t count) {
  return count >= 3 && bytes[0] == 0xff && bytes[1] == 0xd8 && bytes[2] == 0xff;
}

vekr_example::Image decodePng(const uint8_t *bytes, size_t count) {
  png_image png{};
  png.version = PNG_IMAGE_VERSION;
  const std::unique_ptr<png_image, void (*)(png_image *)> release(&png, png_image_free);
  if (png_image_begin_read_from_memory(&png, bytes, count) == 0) throw std::runtime_error(png.message);
  if (uint64_t{png.width} * png.height > kMostPicturePixels)
    throw std::runtime_error("the picture is too large");
  png.format = PNG_FORMAT_RGBA;  // as RGB the library would lay it over black
  png.flags |= PNG_IMAGE_FLAG_16BIT_sRGB;
  const size_t pixels = size_t{png.width} * png.height;
  std::unique_ptr<uint8_t[]> rgba(new uint8_t[4 * pixels]);
  if (png_image_finish_read(&png, nullptr, rgba.get(), 0, nullptr) == 0)
    throw std::runtime_error(png.message);
  vekr_example::Image image(static_cast<int>(png.width), static_cast<int>(png.height), 3);
  for (size_t i = 0; i < pixels; ++i) std::copy_n(&rgba[4 * i], 3, image.data() + 3 * i);
  return image;
}

#ifdef VEKR_HAVE_JPEG
// libjpeg leaves by longjmp where it can't go on.
struct JpegErrors {
  jpeg_error_mgr manager;  // the first member: the library hands out its address
  std::jmp_buf place;
  char message[JMSG_LENGTH_MAX];
};

void leave(j_common_ptr info) {
  auto *errors = reinterpret_cast<JpegErrors *>(info->err);
  info->err->format_message(info, errors->message);
  std::longjmp(errors->place, 1);
}

// Most warnings tell of harmless oddities; of data that end too soon the library makes grey.
void hearWarning(j_common_ptr info, int level) {
  const int code = info->err->msg_code;
  if (level < 0 && (code == JWRN_JPEG_EOF || code == JWRN_HIT_MARKER)) leave(info);
}

jpeg_error_mgr *prepare(JpegErrors &errors) {
  jpeg_std_error(&errors.manager);
  errors.manager.error_exit = leave;
  errors.manager.emit_message = hearWarning;
  errors.manager.output_message = [](j_common_ptr) {};
  return &errors.manager;
}

// Nothing here needs a destructor while the library may jump.
bool readJpegHeader(jpeg_decompress_struct &info, JpegErrors &errors, const uint8_t *bytes, size_t count) {
  if (setjmp(errors.place) != 0) return false;
  jpeg_create_decompress(&info);
  jpeg_mem_src(&info, bytes, count);
  jpeg_read_header(&info, TRUE);
  info.out_color_space = JCS_RGB;
  jpeg_calc_output_dimensions(&info);
  return true;
}

bool readJpegRows(jpeg_decompress_struct &info, JpegErrors &errors, uint8_t *pixels) {
  if (setjmp(errors.place) != 0) return false;
  jpeg_start_decompress(&info);
  const size_t row = 3 * size_t{info.output_width};
  while (info.output_scanline < info.output_height) {
    JSAMPROW at = pixels + row * info.output_scanline;
    jpeg_read_scanlines(&info, &at, 1);
  }
  jpeg_finish_decompress(&info);
  return true;
}

vekr_example::Image decodeJpeg(const uint8_t *bytes, size_t count) {
  JpegErrors errors{};
  jpeg_decompress_struct info{};
  info.err = prepare(errors);
  const std::unique_ptr<jpeg_decompress_struct, void (*)(jpeg_decompress_struct *)> release(
      &info, jpeg_destroy_decompress);
  if (!readJpegHeader(info, errors, bytes, count)) throw std::runtime_error(errors.message);
  if (uint64_t{info.output_width} * info.output_height > kMostPicturePixels) {
    throw std::runtime_error("the picture is too large");
  }
  vekr_example::Image image(static_cast<int>(info.output_width), static_cast<int>(info.output_height), 3);
  if (!readJpegRows(info, errors, image.data())) throw std::runtime_error(errors.message);
  return image;
}

bool writeJpeg(jpeg_compress_struct &info, JpegErrors &errors, const vekr_example::Image &image, FILE *file) {
  constexpr int kQuality = 92;
  if (setjmp(errors.place) != 0) return false;
  jpeg_create_compress(&info);
  jpeg_stdio_dest(&info, file);
  info.image_width = static_cast<JDIMENSION>(image.width());
  info.image_height = static_cast<JDIMENSION>(image.height());
  info.input_components = 3;
  info.in_color_space = JCS_RGB;
  jpeg_set_defaults(&info);
  jpeg_set_quality(&info, kQuality, TRUE);
  jpeg_start_compress(&info, TRUE);
  for (int y = 0; y < image.height(); ++y) {
    auto *row = const_cast<JSAMPLE *>(image.at(0, y));  // which it only reads
    jpeg_write_scanlines(&info, &row, 1);
  }
  jpeg_finish_compress(&info);
  return true;
}
#endif

}  // namespace

bool isPictureKnown(const uint8_t *bytes, size_t count) {
  return isPng(bytes, count) || isJpeg(bytes, count);
}

std::string whyNoPicture(const uint8_t *bytes, size_t count) {
  return isPng(bytes, count) ? "" : whyNoJpeg();
}

#ifdef VEKR_HAVE_JPEG
std::string whyNoJpeg() { return ""; }

vekr_example::Image decodePicture(const uint8_t *bytes, size_t count) {
  return isPng(bytes, count) ? decodePng(bytes, count) : decodeJpeg(bytes, count);
}

void encodeJpeg(const vekr_example::Image &image, FILE *file) {
  JpegErrors errors{};
  jpeg_compress_struct info{};
  info.err = prepare(errors);
  const bool written = writeJpeg(info, errors, image, file);
  jpeg_destroy_compress(&info);
  if (!written) throw std::runtime_error(errors.message);
}
#else
std::string whyNoJpeg() { return "is a JPEG, and this program was built without libjpeg"; }

vekr_example::Image decodePicture(const uint8_t *bytes, size_t count) { return decodePng(bytes, count); }

void encodeJpeg(const vekr_example::Image &, FILE *) { throw std::runtime_error(whyNoJpeg()); }
#endif
