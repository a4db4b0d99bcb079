// fuzz/deck.dict, the fuzzer's dictionary, is made from the codec's own tables: every key of
// every record and every enumeration's wire string, so the fuzzer starts from what the decoder
// knows. This test fails when the tables change and the dictionary does not; run it with
// KOLVO_WRITE_DECK_DICT=1 to write the dictionary afresh.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>

#include "deck/protocol/deck_message.hpp"
#include "deck/protocol/deck_message_fields.hpp"

namespace kolvo::deck {
namespace {

std::string dict_entry(std::string_view token) {
  std::string out = "\"";
  for (const char c : token) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (byte < 0x20 || byte >= 0x7F) {
      static constexpr char kHex[] = "0123456789ABCDEF";
      out += "\\x";
      out += kHex[byte >> 4];
      out += kHex[byte & 15];
    } else {
      out += c;
    }
  }
  return out + "\"";
}

template <typename... Records>
void add_keys(std::set<std::string>& keys) {
  (
      [&] {
        for (const auto key : wire::keys_of<Records>()) keys.emplace(key);
      }(),
      ...);
}

template <typename Table>
void add_strings(std::set<std::string>& strings, const Table& table) {
  for (const auto& [value, text] : table.entries) strings.emplace(text);
}

std::string dictionary() {
  std::set<std::string> keys = {"type"};
  for (const auto& entry : wire::message_keys()) keys.emplace(entry.key);
  add_keys<KolvoDeckState, KolvoDeckAvailability, KolvoDeckAudioDevice, KolvoDeckSlot, KolvoDeckProfileInfo,
           KolvoDeckAppearance, KolvoDeckStat, KolvoDeckLaunchItem, ShelfSurfaceState, AdobeColorState,
           CreativeContinuousControl, CreativeContinuousControl::Choice>(keys);
  std::set<std::string> strings;
  add_strings(strings, kMessageTypeTable);
  add_strings(strings, kCornerTable);
  add_strings(strings, kControlTable);
  add_strings(strings, kSlotTypeTable);
  add_strings(strings, prefs::kKolvoDeckStatKindTable);
  add_strings(strings, kWindowLayoutTable);
  add_strings(strings, kLaunchDirectionTable);
  add_strings(strings, kLaunchOutcomeTable);
  add_strings(strings, kLaunchLayoutTable);
  add_strings(strings, kLaunchPairOutcomeTable);
  add_strings(strings, kLaunchLayoutOutcomeTable);
  add_strings(strings, kShelfSurfaceIdentityTable);
  add_strings(strings, kShelfWidgetBackgroundTable);
  add_strings(strings, kShelfAgentActivityTable);
  add_strings(strings, kShelfSurfaceCommandTable);
  add_strings(strings, kAdobeToolIDTable);
  add_strings(strings, kBlenderToolIDTable);
  add_strings(strings, kUnitTable);
  add_strings(strings, kCurveTable);

  std::ostringstream out;
  out << "# Kolvo Deck protocol tokens for libFuzzer (-dict=). Made from the codec's tables by\n"
         "# tests/deck/protocol/deck_dictionary_test.cpp; write it afresh with\n"
         "#   KOLVO_WRITE_DECK_DICT=1 build/linux-debug/tests/kolvo_tests --gtest_filter='DeckDictionary.*'\n"
         "\n# Keys, each with its colon.\n";
  for (const auto& key : keys) out << dict_entry("\"" + key + "\":") << '\n';
  out << "\n# Wire strings of the enumerations.\n";
  for (const auto& text : strings) out << dict_entry("\"" + text + "\"") << '\n';
  out << "\n# JSON words and the start of every message.\n";
  for (const char* word : {"null", "true", "false", "{\"type\":", "[]", "{}", "1e300", "-0.0", "1.5"}) {
    out << dict_entry(word) << '\n';
  }
  out << "\n# Frame prefixes at the limits: empty, 1 MiB, 1 MiB + 1, 8 MiB, 8 MiB + 1.\n";
  for (const std::string& prefix :
       {std::string("\x00\x00\x00\x00", 4), std::string("\x00\x10\x00\x00", 4), std::string("\x00\x10\x00\x01", 4),
        std::string("\x00\x80\x00\x00", 4), std::string("\x00\x80\x00\x01", 4)}) {
    out << dict_entry(prefix) << '\n';
  }
  out << "\n# Byte sequences at the edges of UTF-8.\n";
  for (const char* bytes : {"\xC0\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xF4\x8F\xBF\xBF", "\xEF\xBF\xBD"}) {
    out << dict_entry(bytes) << '\n';
  }
  return out.str();
}

TEST(DeckDictionary, HoldsEveryKeyAndWireStringOfTheTables) {
  const std::string path = KOLVO_SOURCE_DIR "/fuzz/deck.dict";
  const std::string expected = dictionary();
  if (std::getenv("KOLVO_WRITE_DECK_DICT")) std::ofstream(path, std::ios::binary) << expected;
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  EXPECT_EQ(text.str(), expected) << "fuzz/deck.dict differs from the tables; see its first lines";
  // A few entries, spelt out, so the dictionary itself is known to take the tables' words.
  for (const char* entry : {R"("\"approval_required\"")", R"("\"surfaceColorPickerID\":")",
                            R"("\"wattsPerSquareMeter\"")", R"("\"bl.frameSelected\"")", R"("\x00\x80\x00\x01")"}) {
    EXPECT_NE(expected.find(std::string(entry) + "\n"), std::string::npos) << entry;
  }
}

}  // namespace
}  // namespace kolvo::deck
