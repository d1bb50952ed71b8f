// A mask tinted with a colour: the texture's first channel says how much of the colour lies there, and
// the colour's A is its transparency, as wherever a colour lies over the picture.
Texture2D tx : register(t0);
SamplerState samLinear : register(s0);

cbuffer PS_BACKCOLOR_BUFFER : register(b0) {
  float4 color;
};

struct PixelIn {
  float4 position : SV_POSITION;
  float2 uv : TEXCOORD0;
};

float4 main(PixelIn input) : SV_Target {
  float m = tx.Sample(samLinear, input.uv).r;
  return float4(m * color.r, m * color.g, m * color.b, m * (1.0f - color.a));
}
