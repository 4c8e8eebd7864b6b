#include "transform_file.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "output_file.h"

namespace vekr_example {

namespace {

[[noreturn]] void fail(const std::string &path, const std::string &reason) {
  throw std::runtime_error(path + ": " + reason);
}

std::string readText(const std::string &path) {
  if (const std::string reason = whyUnreadable(path); !reason.empty()) fail(path, reason);
  std::ifstream file(path, std::ios::binary);
  constexpr size_t kMost = 1 << 20;
  std::string text(kMost + 1, 0);
  file.read(text.data(), static_cast<std::streamsize>(text.size()));
  if (file.bad() || !file.eof())
    fail(path, file.bad() ? "cannot be read" : "is no transform: it is too long");
  text.resize(static_cast<size_t>(file.gcount()));
  for (const char c : text) {
    if (c == 0 || (static_cast<unsigned char>(c) < ' ' && std::strchr("\t\n\r\f", c) == nullptr))
      fail(path, "is no transform in form of a text");
  }
  return text;
}

std::vector<double> numbersIn(const std::string &path, const std::string &text) {
  std::istringstream stream(text);
  std::vector<double> numbers;
  for (std::string word; stream >> word;) {
    char *end = nullptr;
    const double number = std::strtod(word.c_str(), &end);
    if (*end != 0 || !std::isfinite(number))
      fail(path, "holds '" + word.substr(0, 40) + "', which is no number");
    numbers.push_back(number);
  }
  return numbers;
}

Affine matrixIn(const std::string &path, const std::string &text) {
  std::string bare;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    if (line.empty() || line[0] != '#') bare += line + '\n';
  }
  const std::vector<double> numbers = numbersIn(path, bare);
  if (numbers.size() != 12 && numbers.size() != 16)
    fail(path,
         "must hold three or four rows of four numbers, not " + std::to_string(numbers.size()) + " numbers");
  if (numbers.size() == 16 && (numbers[12] != 0 || numbers[13] != 0 || numbers[14] != 0 || numbers[15] != 1))
    fail(path, "its fourth row must be 0 0 0 1");
  Affine a;
  std::copy_n(numbers.begin(), 12, a.m.begin());
  return a;
}

// One entry of an Insight transform file.
struct ItkTransform {
  std::string type;
  std::vector<double> parameters, fixed;
};

Affine ofVersor(const std::string &path, const std::vector<double> &p) {
  const double x = p[0], y = p[1], z = p[2], square = x * x + y * y + z * z;
  if (square > 1 + 1e-9) fail(path, "its versor is longer than 1");
  const double w = std::sqrt(std::max(0.0, 1 - square));
  Affine a;
  a.m = {1 - 2 * (y * y + z * z), 2 * (x * y - z * w),     2 * (x * z + y * w),     0,
         2 * (x * y + z * w),     1 - 2 * (x * x + z * z), 2 * (y * z - x * w),     0,
         2 * (x * z - y * w),     2 * (y * z + x * w),     1 - 2 * (x * x + y * y), 0};
  return a;
}

Affine affineOf(const std::string &path, const ItkTransform &t) {
  const std::string name = t.type.substr(0, t.type.find('_'));
  const auto needs = [&](size_t parameters) {
    if (t.parameters.size() != parameters || t.type.find("_3_3") == std::string::npos)
      fail(path, "its " + name + " isn't one of three dimensions with " + std::to_string(parameters) +
                     " parameters");
  };
  constexpr double kDegrees = 180 / 3.14159265358979323846;
  const std::vector<double> &p = t.parameters;
  Affine a;
  size_t moves = 3;  // where the translation begins
  if (name == "IdentityTransform") return a;
  if (name == "TranslationTransform") {
    needs(3);
    moves = 0;
  } else if (name == "AffineTransform" || name == "MatrixOffsetTransformBase") {
    needs(12);
    for (size_t row = 0; row < 3; ++row) {
      for (size_t column = 0; column < 3; ++column) a.at(row, column) = p[3 * row + column];
    }
    moves = 9;
  } else if (name == "Euler3DTransform") {
    needs(6);
    const Affine x = rotation(0, p[0] * kDegrees), y = rotation(1, p[1] * kDegrees),
                 z = rotation(2, p[2] * kDegrees);
    const bool zyx = t.fixed.size() > 3 && t.fixed[3] != 0;
    a = zyx ? z * y * x : z * x * y;
  } else if (name == "VersorRigid3DTransform") {
    needs(6);
    a = ofVersor(path, p);
  } else if (name == "Similarity3DTransform") {
    needs(7);
    a = ofVersor(path, p) * scaling({p[6], p[6], p[6]});
  } else {
    fail(path, "holds a " + name.substr(0, 60) + ", which is not affine or not known");
  }
  Point centre = {0, 0, 0};
  if (t.fixed.size() >= 3 && moves > 0) centre = {t.fixed[0], t.fixed[1], t.fixed[2]};
  return translation({p[moves] + centre[0], p[moves + 1] + centre[1], p[moves + 2] + centre[2]}) * a *
         translation({-centre[0], -centre[1], -centre[2]});
}

// As it stands in the file. Of several, which only a composite may hold, the last one is applied first.
Affine itkIn(const std::string &path, const std::string &text) {
  std::vector<ItkTransform> list;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    const size_t colon = line.find(':');
    if (line.empty() || line[0] == '#' || colon == std::string::npos) continue;
    const std::string key = line.substr(0, colon), value = line.substr(colon + 1);
    if (key == "Transform") {
      list.push_back({});
      std::istringstream(value) >> list.back().type;
    } else if (list.empty()) {
      fail(path, "is no transform: parameters of none");
    } else if (key == "Parameters") {
      list.back().parameters = numbersIn(path, value);
    } else if (key == "FixedParameters") {
      list.back().fixed = numbersIn(path, value);
    }
  }
  const bool composite = !list.empty() && list[0].type.rfind("CompositeTransform", 0) == 0;
  if (composite) list.erase(list.begin());
  if (list.empty()) fail(path, "holds no transform");
  if (list.size() > 1 && !composite) fail(path, "holds several transforms and no composite of them");
  Affine all;
  for (const ItkTransform &transform : list) all = all * affineOf(path, transform);
  return all;
}

// From voxels to the millimetres of flirt: from the first voxel on, x in the other direction where the voxels are
// right-handed.
Affine flirtMillimetres(const Grid &grid) {
  const Point mm = grid.spacing();
  if (determinantOf(grid.toWorld) < 0) return scaling(mm);
  return translation({(grid.size.width - 1) * mm[0], 0, 0}) * scaling({-mm[0], mm[1], mm[2]});
}

Affine inverted(const std::string &path, const Affine &a) {
  const std::optional<Affine> inverse = inverseOf(a);
  if (!inverse) fail(path, "its matrix is singular, or nearly so");
  return *inverse;
}

}  // namespace

Affine readMatrix(const std::string &path) { return matrixIn(path, readText(path)); }

Affine readTransform(const std::string &path, TransformKind kind, const Grid &source, const Grid &result) {
  const std::string text = readText(path);
  if (kind == TransformKind::automatic) {
    const bool insight = text.rfind("#Insight Transform File", 0) == 0;
    const bool mat = path.size() > 4 && path.compare(path.size() - 4, 4, ".mat") == 0;
    kind = insight ? TransformKind::itk : mat ? TransformKind::fsl : TransformKind::world;
  }
  if (kind == TransformKind::itk) {
    const Affine turnRound = scaling({-1, -1, 1});
    return turnRound * inverted(path, itkIn(path, text)) * turnRound;
  }
  const Affine matrix = matrixIn(path, text);
  inverted(path, matrix);
  if (kind == TransformKind::world) return matrix;
  return result.toWorld * inverted(path, flirtMillimetres(result)) * matrix * flirtMillimetres(source) *
         inverted(path, source.toWorld);
}

}  // namespace vekr_example
