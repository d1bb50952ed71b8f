// The final pass into packed 4:2:2: one texel of the target holds two pixels of the frame, as the bytes
// Cb, Y0, Cr, Y1 of a B8G8R8A8 texel. The target is half as wide as the viewport, so u runs to 0.5 only;
// doubled, it spans the picture. Studio-range BT.601 with the luma offset 0.0625 and chroma offset 0.5.
// Written in the plainest HLSL (no functions of its own, no conditional operator), which every system's
// compiler takes.
Texture2D tx : register(t0);
SamplerState samLinear : register(s0);

cbuffer PS_BACKCOLOR_BUFFER : register(b0) {
  float4 color;   // the background; its A is the part of the picture that remains
  float4 area;    // the visible part: left, top, right, bottom
  float4 screen;  // the screen, the same way
  float4 pitch;   // 1 / W, 1 / H
};

struct PixelIn {
  float4 position : SV_POSITION;
  float2 uv : TEXCOORD0;
};

float4 main(PixelIn input) : SV_Target {
  float v = input.uv.y;
  float x1 = 2.0f * input.uv.x;
  float x2 = x1 + pitch.x;
  float3 a = tx.Sample(samLinear, float2(x1, v)).rgb;
  float3 b = tx.Sample(samLinear, float2(x2, v)).rgb;
  float keep = color.a;
  float mix = 1.0f - keep;

  // Each pixel of the pair: black off the screen, shaded off the visible part, else the picture.
  if (x1 < area.x || v < area.y || x1 > area.z || v > area.w) {
    a.r = a.r * keep + color.r * mix;
    a.g = a.g * keep + color.g * mix;
    a.b = a.b * keep + color.b * mix;
  }
  if (x1 < screen.x || v < screen.y || x1 > screen.z || v > screen.w) a = float3(0.0f, 0.0f, 0.0f);
  if (x2 < area.x || v < area.y || x2 > area.z || v > area.w) {
    b.r = b.r * keep + color.r * mix;
    b.g = b.g * keep + color.g * mix;
    b.b = b.b * keep + color.b * mix;
  }
  if (x2 < screen.x || v < screen.y || x2 > screen.z || v > screen.w) b = float3(0.0f, 0.0f, 0.0f);
  // The second pixel past the screen's right edge repeats the first, so a row's last pixel keeps its
  // colour instead of fading into black.
  if (x2 > screen.z) b = a;

  float3 m = float3((a.r + b.r) * 0.5f, (a.g + b.g) * 0.5f, (a.b + b.b) * 0.5f);
  float4 output;
  output.r = 0.439f * m.r - 0.368f * m.g - 0.071f * m.b + 0.5f;   // Cr
  output.g = 0.257f * a.r + 0.504f * a.g + 0.098f * a.b + 0.0625f;  // Y of the first pixel
  output.b = -0.148f * m.r - 0.291f * m.g + 0.439f * m.b + 0.5f;  // Cb
  output.a = 0.257f * b.r + 0.504f * b.g + 0.098f * b.b + 0.0625f;  // Y of the second pixel
  return output;
}
