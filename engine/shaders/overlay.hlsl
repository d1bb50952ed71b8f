// An overlay as it is: the blend state lays it over the target by its alpha.
Texture2D tx : register(t0);
SamplerState samLinear : register(s0);

struct PixelIn {
  float4 position : SV_POSITION;
  float2 uv : TEXCOORD0;
};

float4 main(PixelIn input) : SV_Target {
  return tx.Sample(samLinear, input.uv);
}
