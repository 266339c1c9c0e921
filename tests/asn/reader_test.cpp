// ASNTReader in every header form, over memory and over a file read through
// the walk window or the record's 16-octet one. The cases are in
// asn/reader_cases.txt: a source and steps run in turn on one reader.
#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <memory>
#include <sstream>

#include "asn/asn_reader.h"
#include "common/table.h"
#include "common/test_util.h"

namespace cmskit_testing {
namespace {

using namespace cmskit;

const std::map<std::string, cmskit::ASNTHeaderForm> kForms = {{"memory", cmskit::kASNTMemoryForm},
                                                              {"strict", cmskit::kASNTStrictMemoryForm},
                                                              {"file", cmskit::kASNTFileForm},
                                                              {"wide", cmskit::kASNTWideForm}};
// Memory (no window), or a file read through a window of so many octets.
const std::map<std::string, uint64_t> kSources = {{"mem", 0}, {"file", ASNTReader::kWalkWindow}, {"rec", 16}};

// The names of a comma-separated list, or all of them for "*".
template <class Map>
std::vector<std::string> Names(const std::string& list, const Map& all) {
  std::vector<std::string> out;
  for (const auto& entry : all) out.push_back(entry.first);
  if (list == "*") return out;
  out.clear();
  std::stringstream in(list);
  for (std::string name; std::getline(in, name, ',');) out.push_back(name);
  return out;
}

std::string Failed(int status) { return "!" + std::to_string(status); }

// "size,identifier,length": the class and constructed bits in hex, then the
// tag number; the length "i" when indefinite, with "z" when measured up to
// the zeros that close a primitive.
std::string Describe(const ASNTHeader& h) {
  char text[32];
  snprintf(text, sizeof text, "%u,%02X,%u,", h.size, h.tagClass | h.constructed, h.tagNumber);
  return text + (h.indefinite ? "i" : std::to_string(h.length) + (h.zeroTerminated ? "z" : ""));
}

// One step "OP@POSITION[+COUNT]": h header, c contents/element size of the
// element there, w walk from a contents start, r/b read (compared with the
// source), l leave the stream there. Gives what it found in the table's words.
std::string Step(ASNTReader& reader, cmskit::CTOOFile* file, const Bytes& source, const std::string& step) {
  size_t used = 0;
  const uint64_t at = std::stoull(step.substr(2), &used);
  const uint64_t count = step.size() > 2 + used ? std::stoull(step.substr(3 + used)) : 0;
  const auto same = [&](const Bytes& got) {
    return got ==
           Bytes(source.begin() + static_cast<long>(at), source.begin() + static_cast<long>(at + got.size()));
  };
  ASNTHeader header;
  uint64_t length = 0, element = 0;
  bool closed = false;
  int status = 0;
  switch (step[0]) {
    case 'h':
    case 'c':
      status = reader.ReadHeader(at, header);
      if (status != 0 || step[0] == 'h') return status ? Failed(status) : Describe(header);
      status = reader.ContentsLength(header, length);
      if (status != reader.ElementSize(header, element)) return "element size disagrees";
      return status ? Failed(status) : std::to_string(length) + "/" + std::to_string(element);
    case 'w':
      status = reader.WalkIndefinite(at, length, closed);
      return status ? Failed(status) : std::to_string(length) + (closed ? "" : ",open");
    case 'r': {
      Bytes got(count < source.size() ? count : source.size());
      status = reader.Read(at, got.data(), count);
      return status ? Failed(status) : same(got) ? "" : "other octets";
    }
    case 'b': {
      cmskit::IdentObj got;
      status = reader.ReadBytes(at, count, got);
      return status ? Failed(status) : same(Bytes(got.data(), got.data() + got.size())) ? "" : "other octets";
    }
    case 'l': {
      status = reader.Leave(at);
      if (status != 0 || !file) return status ? Failed(status) : "";
      if (file->Tell64() != static_cast<int64_t>(at)) return "left at " + std::to_string(file->Tell64());
      // The caller reads on: the reader must not count on the stream staying put.
      Bytes next(source.size() - at < 8 ? source.size() - at : 8);
      file->Read(next.data(), static_cast<DWORD>(next.size()));
      return same(next) ? "" : "other octets";
    }
  }
  return "unknown step";
}

TEST(ASNTReader, Cases) {
  const Table table("asn/reader_cases.txt");
  TempDir dir;
  const std::string path = dir.Path("source.bin");
  for (const Row& row : table.Rows()) {
    const Bytes source = table.Octets(row[2]);
    WriteBytes(path, source);
    for (const std::string& form : Names(row[0], kForms)) {
      for (const std::string& kind : Names(row[1], kSources)) {
        SCOPED_TRACE(row.where + " " + form + " " + kind);
        cmskit::CTOOFile file(path.c_str(), "rb");
        const uint64_t window = kSources.at(kind);
        auto reader = window ? std::make_unique<ASNTReader>(file, kForms.at(form), window)
                             : std::make_unique<ASNTReader>(source.data(), source.size(), kForms.at(form));
        std::stringstream steps(row[3]);
        for (std::string step; steps >> step;) {
          const size_t equals = step.find('=');
          EXPECT_EQ(Step(*reader, window ? &file : nullptr, source, step.substr(0, equals)),
                    equals == std::string::npos ? "" : step.substr(equals + 1))
              << step;
        }
      }
    }
  }
}

}  // namespace
}  // namespace cmskit_testing
