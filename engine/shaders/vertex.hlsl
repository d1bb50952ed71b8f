// The pass-through vertex program of every draw: the quad's corners are already in clip space, and the
// texture coordinate goes on unchanged.
struct VertexIn {
  float3 position : POSITION;
  float2 uv : TEXCOORD0;
};

struct VertexOut {
  float4 position : SV_POSITION;
  float2 uv : TEXCOORD0;
};

VertexOut main(VertexIn input) {
  VertexOut output;
  output.position = float4(input.position, 1.0f);
  output.uv = input.uv;
  return output;
}
