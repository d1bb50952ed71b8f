// The final pass into 32-bit RGB: transparent black off the screen, the background laid over the
// picture off the visible part, the picture itself inside it. Written in the plainest HLSL (no functions
// of its own, no conditional operator), which every system's compiler takes.
Texture2D tx : register(t0);
SamplerState samLinear : register(s0);

cbuffer PS_BACKCOLOR_BUFFER : register(b0) {
  float4 color;   // the background; its A is the part of the picture that remains
  float4 area;    // the visible part: left, top, right, bottom
  float4 screen;  // the screen, the same way
};

struct PixelIn {
  float4 position : SV_POSITION;
  float2 uv : TEXCOORD0;
};

float4 main(PixelIn input) : SV_Target {
  float u = input.uv.x;
  float v = input.uv.y;
  // Sampled before any branch, so the sample's derivatives are those of the whole quad.
  float4 c = tx.Sample(samLinear, input.uv);
  float4 output = c;
  if (u < area.x || v < area.y || u > area.z || v > area.w) {
    // Off the visible part the picture shows through by the background's A.
    float keep = color.a;
    float mix = 1.0f - keep;
    output.r = c.r * keep + color.r * mix;
    output.g = c.g * keep + color.g * mix;
    output.b = c.b * keep + color.b * mix;
  }
  if (u < screen.x || v < screen.y || u > screen.z || v > screen.w) output = float4(0.0f, 0.0f, 0.0f, 0.0f);
  return output;
}
