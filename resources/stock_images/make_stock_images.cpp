// Draws the overlays' three stock pictures and writes them as BMP files, plus a C++ source that embeds
// the same bytes for systems whose modules carry no resources. Runs on the build machine, so it uses
// nothing but the standard library and is built by the host's compiler even in a cross build.
//
//   make_stock_images OUTPUT_DIR
//
// writes OUTPUT_DIR/highlight.bmp (107), left_click.bmp (108), right_click.bmp (109) and
// stock_images_data.cpp.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace {

constexpr int kSize = 100;
constexpr double kCentre = kSize / 2.0;

// The highlight disc's mask: full out to this radius, then a linear fall to nothing.
constexpr double kDiscFull = 40.0;
constexpr double kDiscEdge = 50.0;
constexpr int kDiscLevel = 252;

constexpr double kRingOuter = 49.0;
constexpr double kRingInner = 37.0;
// Samples per pixel side for the ring's coverage: 16 x 16 gives 257 levels of cover, finer than the
// 8-bit alpha that keeps them.
constexpr int kCoverSamples = 16;

struct Bgr {
  int b, g, r;
};

struct Picture {
  uint32_t id;
  const char* file;
  bool topDown;
  std::vector<uint8_t> pixels;  // rows in the order they are stored, 4 bytes a pixel: blue, green, red, A
};

void Put32(std::vector<uint8_t>& out, uint32_t v) {
  for (int i = 0; i < 4; ++i) out.push_back(static_cast<uint8_t>(v >> (8 * i)));
}
void Put16(std::vector<uint8_t>& out, uint16_t v) {
  out.push_back(static_cast<uint8_t>(v));
  out.push_back(static_cast<uint8_t>(v >> 8));
}

double Radius(double x, double y) { return std::hypot(x - kCentre, y - kCentre); }

// The mask stands in the red, green and blue bytes alike; its A byte stays 0, since the tint makes the
// alpha from the mask and the colour. The picture is symmetric, so bottom-up storage changes nothing
// but the row order.
Picture Highlight() {
  Picture p{107, "highlight.bmp", false, std::vector<uint8_t>(size_t{kSize} * kSize * 4, 0)};
  for (int y = 0; y < kSize; ++y) {
    for (int x = 0; x < kSize; ++x) {
      const double r = Radius(x + 0.5, y + 0.5);
      double level = 0.0;
      if (r <= kDiscFull) {
        level = kDiscLevel;
      } else if (r < kDiscEdge) {
        level = kDiscLevel * (kDiscEdge - r) / (kDiscEdge - kDiscFull);
      }
      const auto v = static_cast<uint8_t>(std::lround(level));
      uint8_t* px = &p.pixels[static_cast<size_t>(y * kSize + x) * 4];
      px[0] = px[1] = px[2] = v;
    }
  }
  return p;
}

// The share of the pixel's area that lies inside the ring.
double RingCover(int x, int y) {
  int inside = 0;
  for (int sy = 0; sy < kCoverSamples; ++sy) {
    for (int sx = 0; sx < kCoverSamples; ++sx) {
      const double r = Radius(x + (sx + 0.5) / kCoverSamples, y + (sy + 0.5) / kCoverSamples);
      if (r >= kRingInner && r <= kRingOuter) ++inside;
    }
  }
  return static_cast<double>(inside) / (kCoverSamples * kCoverSamples);
}

// Premultiplied: a colour byte is the colour scaled by the stored alpha, so none ever exceeds it and
// the blend of the overlay needs no division.
Picture Ring(uint32_t id, const char* file, Bgr colour) {
  Picture p{id, file, true, std::vector<uint8_t>(size_t{kSize} * kSize * 4, 0)};
  for (int y = 0; y < kSize; ++y) {
    for (int x = 0; x < kSize; ++x) {
      const int alpha = static_cast<int>(std::lround(255.0 * RingCover(x, y)));
      uint8_t* px = &p.pixels[static_cast<size_t>(y * kSize + x) * 4];
      px[0] = static_cast<uint8_t>((colour.b * alpha + 127) / 255);
      px[1] = static_cast<uint8_t>((colour.g * alpha + 127) / 255);
      px[2] = static_cast<uint8_t>((colour.r * alpha + 127) / 255);
      px[3] = static_cast<uint8_t>(alpha);
    }
  }
  return p;
}

// A BMP file: the 14-byte file header, the 40-byte info header, the pixels right behind them.
std::vector<uint8_t> BmpFile(const Picture& p) {
  constexpr uint32_t kHeaders = 14 + 40;
  const auto imageBytes = static_cast<uint32_t>(p.pixels.size());
  std::vector<uint8_t> out;
  out.push_back('B');
  out.push_back('M');
  Put32(out, kHeaders + imageBytes);
  Put32(out, 0);  // two reserved words
  Put32(out, kHeaders);
  Put32(out, 40);
  Put32(out, static_cast<uint32_t>(kSize));
  Put32(out, static_cast<uint32_t>(p.topDown ? -kSize : kSize));
  Put16(out, 1);   // planes
  Put16(out, 32);  // bits a pixel
  Put32(out, 0);   // no compression
  Put32(out, imageBytes);
  Put32(out, 2835);  // 72 pixels an inch, in pixels a metre
  Put32(out, 2835);
  Put32(out, 0);  // colours used
  Put32(out, 0);  // colours important
  out.insert(out.end(), p.pixels.begin(), p.pixels.end());
  return out;
}

bool WriteFile(const std::string& path, const void* data, size_t size) {
  std::FILE* f = std::fopen(path.c_str(), "wb");
  if (!f) {
    std::fprintf(stderr, "make_stock_images: cannot create %s\n", path.c_str());
    return false;
  }
  const bool written = std::fwrite(data, 1, size, f) == size;
  const bool closed = std::fclose(f) == 0;
  if (!written || !closed) std::fprintf(stderr, "make_stock_images: cannot write %s\n", path.c_str());
  return written && closed;
}

std::string EmbeddedSource(const std::vector<Picture>& pictures, const std::vector<std::vector<uint8_t>>& files) {
  std::string s =
      "// Made by make_stock_images at build time: the overlays' stock pictures as BMP files, by resource id.\n"
      "#include \"platform/linux/embedded_resources.h\"\n\n"
      "namespace cvplat {\n\nnamespace {\n\n";
  char hex[8];
  for (size_t i = 0; i < files.size(); ++i) {
    s += "const uint8_t kFile" + std::to_string(pictures[i].id) + "[] = {";
    for (size_t j = 0; j < files[i].size(); ++j) {
      if (j % 20 == 0) s += "\n   ";
      std::snprintf(hex, sizeof hex, " 0x%02x,", files[i][j]);
      s += hex;
    }
    s += "\n};\n\n";
  }
  s += "}  // namespace\n\nconst EmbeddedResource kEmbeddedResources[] = {\n";
  for (const Picture& p : pictures) {
    const std::string name = "kFile" + std::to_string(p.id);
    s += "    {" + std::to_string(p.id) + ", " + name + ", sizeof " + name + "},\n";
  }
  s += "};\nconst size_t kEmbeddedResourceCount = " + std::to_string(pictures.size()) + ";\n\n}  // namespace cvplat\n";
  return s;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: make_stock_images OUTPUT_DIR\n");
    return 2;
  }
  const std::string dir = argv[1];
  const std::vector<Picture> pictures = {
      Highlight(),
      Ring(108, "left_click.bmp", {16, 90, 255}),
      Ring(109, "right_click.bmp", {53, 170, 58}),
  };
  std::vector<std::vector<uint8_t>> files;
  for (const Picture& p : pictures) {
    files.push_back(BmpFile(p));
    if (!WriteFile(dir + "/" + p.file, files.back().data(), files.back().size())) return 1;
  }
  const std::string source = EmbeddedSource(pictures, files);
  return WriteFile(dir + "/stock_images_data.cpp", source.data(), source.size()) ? 0 : 1;
}
