// SPDX-License-Identifier: MIT
#include "output/part_name.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

namespace qolm::output {
namespace {

namespace fs = std::filesystem;
using Name = fs::path::string_type;
using Unit = Name::value_type;

constexpr std::string_view kExtension = ".part";
constexpr size_t kLongestName = 255;
constexpr size_t kDigits = 16;

// Whether a character begins at this unit.
bool BeginsCharacter(Unit unit) {
  const auto value = std::make_unsigned_t<Unit>(unit);
  return sizeof(Unit) == 1 ? (value & 0xC0) != 0x80 : (value & 0xFC00) != 0xDC00;
}

// FNV-1a over the units.
uint64_t HashOf(const Name& name) {
  uint64_t hash = 0xCBF29CE484222325;
  for (const Unit unit : name) hash = (hash ^ std::make_unsigned_t<Unit>(unit)) * 0x100000001B3;
  return hash;
}

}  // namespace

fs::path PartNameOf(const fs::path& target) {
  Name name = target.filename().native();
  if (name.size() + kExtension.size() > kLongestName) {
    uint64_t hash = HashOf(name);
    size_t kept = kLongestName - kExtension.size() - kDigits - 1;
    while (kept > 0 && !BeginsCharacter(name[kept])) --kept;
    name.resize(kept);
    name += Unit{'.'};
    for (size_t digit = 0; digit < kDigits; ++digit, hash <<= 4) {
      name += static_cast<Unit>("0123456789abcdef"[hash >> 60]);
    }
  }
  fs::path part = target;
  part.replace_filename(name);
  part += kExtension;
  return part;
}

}  // namespace qolm::output
