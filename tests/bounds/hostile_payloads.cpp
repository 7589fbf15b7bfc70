// SPDX-License-Identifier: MIT
#include "hostile_payloads.h"

#include <span>

#include "audio/transform_payload.h"
#include "base/byte_order.h"
#include "video/inter/inter_payload.h"
#include "video/payload/payload_streams.h"

namespace qolm::test {
namespace {

constexpr uint8_t kQuality = 45;
constexpr uint8_t kEndOfBlock = 1;
constexpr uint8_t kEscape = 255;
constexpr uint8_t kNoMotion = 128;

uint32_t LumaLevels(uint32_t width, uint32_t height) { return width * height; }
uint32_t ChromaLevels(uint32_t width, uint32_t height) { return width * height / 4; }

// `vector_bytes` for each macroblock, all of them `vector_byte`.
Bytes InterPayload(uint32_t width, uint32_t height, uint32_t modes_per_byte, uint32_t vector_bytes,
                   uint8_t vector_byte, Spelling spelling) {
  const uint32_t macroblocks = width / 16 * (height / 16);
  const Bytes chroma = ZeroLevels(ChromaLevels(width, height), spelling);
  const std::array<Bytes, video::kInterStreams> streams = {
      OneValueStream(0, (macroblocks + modes_per_byte - 1) / modes_per_byte),
      OneValueStream(vector_byte, vector_bytes * macroblocks),
      ZeroLevels(LumaLevels(width, height), spelling), chroma, chroma};
  Bytes payload;
  for (const uint32_t side : {width, height}) AppendLe16(payload, static_cast<uint16_t>(side));
  payload.push_back(kQuality);
  for (const uint32_t side : {width, height}) AppendLe16(payload, static_cast<uint16_t>(side / 16));
  video::AppendStreams(streams, payload);
  return payload;
}

}  // namespace

Bytes OneValueStream(uint8_t value, uint32_t count) {
  Bytes stream;
  AppendLe32(stream, count);
  AppendLe16(stream, 1);
  stream.push_back(value);
  AppendLe16(stream, 4096);
  AppendLe32(stream, 65536);
  return stream;
}

Bytes FiveOneValueStreams(uint32_t count, const std::array<OneValue, 5>& contexts) {
  Bytes stream;
  AppendLe32(stream, count);
  stream.push_back(1);
  for (const OneValue& context : contexts) {
    const Bytes coded = context.count == 0 ? Bytes{} : OneValueStream(context.value, context.count);
    AppendLe32(stream, context.count);
    AppendLe32(stream, static_cast<uint32_t>(coded.size()));
    stream.insert(stream.end(), coded.begin(), coded.end());
  }
  return stream;
}

Bytes ZeroLevels(uint32_t count, Spelling spelling) {
  if (spelling == Spelling::kLong) {
    return FiveOneValueStreams(3 * count, {{{kEscape, count}, {}, {}, {0, count}, {0, count}}});
  }
  const uint32_t blocks = count / 64;
  Bytes stream;
  AppendLe32(stream, blocks);
  stream.push_back(0);
  const Bytes plain = OneValueStream(kEndOfBlock, blocks);
  stream.insert(stream.end(), plain.begin(), plain.end());
  return stream;
}

Bytes KeyFrame(uint32_t width, uint32_t height, Spelling spelling) {
  const uint32_t blocks = (LumaLevels(width, height) + 2 * ChromaLevels(width, height)) / 64;
  const Bytes chroma = ZeroLevels(ChromaLevels(width, height), spelling);
  const std::array<Bytes, 4> streams = {OneValueStream(0, (blocks + 3) / 4),
                                        ZeroLevels(LumaLevels(width, height), spelling), chroma,
                                        chroma};
  Bytes payload;
  AppendLe16(payload, static_cast<uint16_t>(width));
  AppendLe16(payload, static_cast<uint16_t>(height));
  payload.push_back(kQuality);
  video::AppendStreams(streams, payload);
  return payload;
}

Bytes PredictedFrame(uint32_t width, uint32_t height, Spelling spelling) {
  return InterPayload(width, height, 8, 2, kNoMotion, spelling);
}

Bytes BidirectionalFrame(uint32_t width, uint32_t height, Spelling spelling) {
  return InterPayload(width, height, 4, 4, kNoMotion, spelling);
}

Bytes Silence(uint32_t values, Spelling spelling, bool refused, uint32_t rate) {
  const uint32_t frame_length = audio::FrameLengthFor(rate);
  const uint32_t frames = (values + frame_length - 1) / frame_length + 1;
  const Bytes scales = OneValueStream(refused ? 255 : 0, 16 * frames);
  const Bytes levels = ZeroLevels(frames * frame_length, spelling);
  Bytes payload;
  AppendLe32(payload, audio::kTransformTag);
  AppendLe32(payload, rate);
  AppendLe16(payload, 1);
  AppendLe16(payload, static_cast<uint16_t>(frame_length));
  AppendLe32(payload, frames);
  AppendLe32(payload, values);
  AppendLe16(payload, static_cast<uint16_t>(scales.size()));
  AppendLe32(payload, static_cast<uint32_t>(levels.size()));
  AppendLe16(payload, 0);
  AppendLe32(payload, 0);
  payload.insert(payload.end(), scales.begin(), scales.end());
  payload.insert(payload.end(), levels.begin(), levels.end());
  return payload;
}

Bytes AdpcmAudio(uint32_t values) {
  const uint32_t code_bytes = (values + 1) / 2;
  const Bytes stream = OneValueStream(0, code_bytes);
  Bytes payload;
  AppendLe32(payload, kSilenceRate);
  AppendLe16(payload, 1);
  AppendLe32(payload, values);
  AppendLe32(payload, code_bytes);
  AppendLe32(payload, static_cast<uint32_t>(stream.size()));
  payload.insert(payload.end(), stream.begin(), stream.end());
  return payload;
}

}  // namespace qolm::test
