// Encoding and decoding typical elements, and splitting a large SET.
#include <benchmark/benchmark.h>

#include <cstring>
#include <list>
#include <vector>

#include "cmskit/asn_codec.h"
#include "cmskit/asn_record.h"

namespace cmskit {
namespace {

constexpr char kOid[] = "1.2.643.2.2.21";
constexpr ASNTElementInfo kOidInfo{kASNTUniversal, kASNTPrimitive, kASNTObjectId, 0, nullptr};
constexpr ASNTElementInfo kIntegerInfo{kASNTUniversal, kASNTPrimitive, kASNTInteger, 0, nullptr};
constexpr ASNTElementInfo kOctetsInfo{kASNTUniversal, kASNTPrimitive, kASNTOctetString, 0, nullptr};

std::vector<BYTE> Pattern(size_t size) {
  std::vector<BYTE> bytes(size);
  for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<BYTE>(i * 37 + 11);
  return bytes;
}

IdentObj Decode(const IdentObj& element) {
  ASNTElementInfo info;
  ASNTReadHeader(info, element.data(), element.size());
  int status = 0;
  return ASNTDecodeElement(info, &status);
}

std::list<IdentObj> Children(size_t count) {
  std::list<IdentObj> items;
  const std::vector<BYTE> integer = Pattern(20);
  for (size_t i = 0; i < count; ++i) items.push_back(ASNTEncodeElement(kIntegerInfo, integer.data(), 20));
  return items;
}

void BM_EncodeOid(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(ASNTEncodeElement(kOidInfo, kOid, sizeof kOid - 1));
}
BENCHMARK(BM_EncodeOid);

void BM_DecodeOid(benchmark::State& state) {
  const IdentObj element = ASNTEncodeElement(kOidInfo, kOid, sizeof kOid - 1);
  for (auto _ : state) benchmark::DoNotOptimize(Decode(element));
}
BENCHMARK(BM_DecodeOid);

void BM_EncodeInteger20(benchmark::State& state) {
  const std::vector<BYTE> value = Pattern(20);
  for (auto _ : state) benchmark::DoNotOptimize(ASNTEncodeElement(kIntegerInfo, value.data(), 20));
}
BENCHMARK(BM_EncodeInteger20);

void BM_DecodeInteger20(benchmark::State& state) {
  const std::vector<BYTE> value = Pattern(20);
  const IdentObj element = ASNTEncodeElement(kIntegerInfo, value.data(), 20);
  for (auto _ : state) benchmark::DoNotOptimize(Decode(element));
}
BENCHMARK(BM_DecodeInteger20);

void BM_EncodeSequence10(benchmark::State& state) {
  const std::list<IdentObj> items = Children(10);
  for (auto _ : state) benchmark::DoNotOptimize(ASNTPutSequence(items, kASNTSequence, nullptr));
}
BENCHMARK(BM_EncodeSequence10);

void BM_DecodeSequence10(benchmark::State& state) {
  const IdentObj sequence = ASNTPutSequence(Children(10), kASNTSequence, nullptr);
  for (auto _ : state) {
    std::list<IdentObj> out;
    benchmark::DoNotOptimize(ASNTGetSequence(out, sequence.data(), sequence.size(), nullptr));
  }
}
BENCHMARK(BM_DecodeSequence10);

void BM_EncodeOctetString64K(benchmark::State& state) {
  const std::vector<BYTE> value = Pattern(65536);
  for (auto _ : state) benchmark::DoNotOptimize(ASNTEncodeElement(kOctetsInfo, value.data(), 65536));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * 65536);
}
BENCHMARK(BM_EncodeOctetString64K);

void BM_DecodeOctetString64K(benchmark::State& state) {
  const std::vector<BYTE> value = Pattern(65536);
  const IdentObj element = ASNTEncodeElement(kOctetsInfo, value.data(), 65536);
  for (auto _ : state) benchmark::DoNotOptimize(Decode(element));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * 65536);
}
BENCHMARK(BM_DecodeOctetString64K);

void BM_SplitSet200(benchmark::State& state) {
  const std::list<IdentObj> items = Children(200);
  const IdentObj set = ASNTPutSequence(items, kASNTSet, nullptr);
  ASNTElementInfo info;
  ASNTReadHeader(info, set.data(), set.size());
  for (auto _ : state) {
    std::list<IdentObj> out;
    benchmark::DoNotOptimize(ASNTSplitElements(out, info.contents, info.length));
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * 200);
}
BENCHMARK(BM_SplitSet200);

void BM_ReadTreeSet200(benchmark::State& state) {
  const IdentObj set = ASNTPutSequence(Children(200), kASNTSet, nullptr);
  for (auto _ : state) {
    CASNTUnit unit;
    benchmark::DoNotOptimize(unit.ReadFromMemory(set.data(), set.size(), nullptr));
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * 200);
}
BENCHMARK(BM_ReadTreeSet200);

}  // namespace
}  // namespace cmskit
