/// Damages the files of a table in any way, then lets a reader and the next writer loose on them:
/// no row comes out that nobody put, nothing hangs, and the writer leaves a table that is sound.
///
/// Input     a byte that chooses the table; then 8 bytes for each damage: file, what is done, four
///           bytes where, two bytes with what. What is left over is read as a head.
#include <array>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "fuzz/Check.h"
#include "platform/tarn/Storage.h"
#include "platform/tarn/TableCursor.h"
#include "platform/tarn/TableReader.h"
#include "platform/tarn/TableWriter.h"

namespace {

unsigned drawn = 0;

}  // namespace

/// In the place of the library's: a table is given the same seeds whenever an input is tried.
std::random_device::result_type std::random_device::_M_getval() {
  return static_cast<result_type>(Tarn::fold(++drawn, 0x9e3779b97f4a7c15U));
}

namespace {

using Tarn::Storage;
using Key = std::uint64_t;

constexpr Key keys = 60;
constexpr std::uint64_t versions = 4;  // of each key, which all may still be found
constexpr std::size_t damageLimit = 200;

Tarn::TableShape shapeOf(bool fixedSize) {
  Tarn::TableShape shape{"rows", "key version words", 7, sizeof(Key), 0, 128, {8, 8, 4096, 4096}};
  if (fixedSize) shape.rowBytes = shape.maxRowBytes;
  return shape;
}

struct Row {
  Row(Key key, std::uint64_t version, bool fixedSize)
      : size(fixedSize ? sizeof words : 16 + (key + version) % 14 * 8) {
    words = {key, version};
    for (std::size_t i = 2; i < words.size(); ++i) words[i] = Tarn::fold(key + i, ~version);
  }
  const std::byte* bytes() const { return reinterpret_cast<const std::byte*>(words.data()); }
  std::array<std::uint64_t, 16> words;
  std::size_t size;
};

using Files = std::map<std::string, std::vector<std::byte>>;

/// The files of a table that was written for a while, with splits, old rows and deleted ones.
Files filesOf(bool fixedSize) {
  const auto storage = Tarn::memoryStorageFactory("memory");
  Tarn::TableWriter writer(*storage, shapeOf(fixedSize), 1, nullptr);
  for (std::uint64_t version = 1; version <= versions; ++version)
    for (Key key = 0; key < keys; ++key) {
      const Row row(key, version, fixedSize);
      writer.put(row.bytes(), row.size);
    }
  for (Key key = 0; key < keys; key += 5) writer.remove(Row(key, 1, fixedSize).bytes());
  Files files;
  for (const std::string& name : storage->files()) {
    const Tarn::Mapping mapping = storage->open(name, Tarn::Access::read).mapping;
    files[name].assign(mapping.data(), mapping.data() + mapping.size);
  }
  return files;
}

void damage(Files* files, std::span<const std::uint8_t> bytes) {
  for (; bytes.size() >= 8; bytes = bytes.subspan(8)) {
    auto file = files->begin();
    std::advance(file, bytes[0] % files->size());
    std::vector<std::byte>& content = file->second;
    if (content.size() < 8) continue;
    std::uint32_t at;
    std::memcpy(&at, bytes.data() + 2, sizeof at);
    at %= static_cast<std::uint32_t>(content.size() - 7);
    const auto low = static_cast<std::byte>(bytes[6]);
    switch (bytes[1] % 8) {
      case 0:
        content.resize(at);
        break;
      case 1:
        content[at] ^= static_cast<std::byte>(1U << (bytes[6] % 8));
        break;
      case 2:
        std::memset(content.data() + at / 8 * 8, bytes[6], 8);
        break;
      case 3:
        std::memcpy(content.data() + at / 8 * 8, bytes.data() + 2, 6);
        break;
      case 4: {  // a word in the place of another
        const std::size_t from = (at + bytes[6] * 8U + bytes[7] * 2048U) % (content.size() - 7);
        std::memmove(content.data() + at / 8 * 8, content.data() + from / 8 * 8, 8);
        break;
      }
      case 5:  // a head of the right checksum that says something else
        if (content.size() >= Tarn::headBytes && file->first.ends_with(".head")) {
          content[at % sizeof(Tarn::HeadFixed)] = low;
          Tarn::HeadFixed fixed;
          std::memcpy(&fixed, content.data(), sizeof fixed);
          fixed.check = Tarn::checkFixed(fixed);
          std::memcpy(content.data(), &fixed, sizeof fixed);
        }
        break;
      case 6:
        std::memset(content.data() + at, bytes[6], content.size() - at);
        break;
      default:
        content[at] = low;
        break;
    }
  }
}

/// A row that is found is one that was put under that key.
bool find(const Tarn::TableView& view, Key key, bool fixedSize) {
  const Tarn::Record found = view.find<8>(reinterpret_cast<const std::byte*>(&key));
  if (!found) return false;
  require(found.bytes >= 16);
  const Row row(key, Tarn::load64(found.row + 8), fixedSize);
  require(row.words[1] >= 1 && row.words[1] <= versions + 1);
  require(found.bytes == row.size && std::memcmp(found.row, row.bytes(), row.size) == 0);
  return true;
}

void read(Tarn::TableReader& reader, bool fixedSize) {
  Tarn::KeyList told;
  for (const auto look : {Tarn::TableReader::Look::counted, Tarn::TableReader::Look::everywhere})
    reader.refresh(look, &told);
  std::array<Key, keys> all;
  for (Key key = 0; key < keys; ++key) find(reader.view(), all[key] = key, fixedSize);
  std::array<Tarn::Record, keys> found;
  reader.view().findBatch<8>(reinterpret_cast<const std::byte*>(all.data()), keys, found.data());
  Tarn::TableCursor cursor(sizeof(Key));
  for (std::size_t met = 0; cursor.next(reader.view()) != nullptr; ++met) require(met < 100'000);
}

void write(Storage& storage, bool fixedSize) {
  Tarn::TableWriter writer(storage, shapeOf(fixedSize), 1, nullptr);
  writer.verify();
  require(writer.verify() == 0);
  std::size_t rows = 0;
  for (Key key = 0; key < keys; ++key) rows += find(writer.view(), key, fixedSize) ? 1 : 0;
  require(writer.rows() == rows);
  for (Key key = 0; key < keys; ++key) {
    const Row row(key, versions + 1, fixedSize);
    writer.put(row.bytes(), row.size);
    require(find(writer.view(), key, fixedSize));
  }
  require(writer.rows() == keys && writer.verify() == 0);
  for (Key key = 0; key < keys; key += 2) {
    require(writer.remove(Row(key, 1, fixedSize).bytes()));
    require(!find(writer.view(), key, fixedSize));
  }
  writer.renew();
  require(writer.rows() == keys / 2 && writer.verify() == 0);
}

void readHead(std::string_view bytes) {
  std::string head(bytes);
  head.resize(std::max(head.size(), Tarn::headBytes));
  const Tarn::TableShape shape = shapeOf(false);
  Tarn::headProblem(bytes, shape);
  Tarn::HeadFixed fixed;
  std::memcpy(&fixed, head.data(), sizeof fixed);
  std::memcpy(fixed.magic, Tarn::headMagic, sizeof fixed.magic);
  fixed.layout = Tarn::layoutVersion;
  fixed.schemaHash = shape.schemaHash;
  fixed.check = Tarn::checkFixed(fixed);
  std::memcpy(head.data(), &fixed, sizeof fixed);
  if (Tarn::headProblem(head, shape).empty())
    require(fixed.keyBytes == shape.keyBytes && fixed.geometry.pageWords >= 8);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0 || size > 1 + 8 * damageLimit + Tarn::headBytes) return 0;
  drawn = 0;
  static const std::array<Files, 2> tables{filesOf(false), filesOf(true)};
  drawn = 100;
  const bool fixedSize = data[0] % 2 != 0;
  const std::size_t damages = std::min((size - 1) / 8, damageLimit);
  Files files = tables[fixedSize ? 1 : 0];
  damage(&files, {data + 1, damages * 8});
  readHead(textOf(data + 1, size - 1));

  const auto storage = Tarn::memoryStorageFactory("memory");
  for (const auto& [name, content] : files)
    if (!content.empty())
      storage->create(name, content.size(), [&content = content](std::byte* to) {
        std::memcpy(to, content.data(), content.size());
      });
  Tarn::TableReader reader(*storage, shapeOf(fixedSize), Tarn::TableReader::Follow::yes, nullptr);
  read(reader, fixedSize);
  accepted<Forma::AccessException>([&] { write(*storage, fixedSize); });
  read(reader, fixedSize);
  return 0;
}
