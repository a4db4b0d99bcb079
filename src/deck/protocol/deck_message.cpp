#include "deck/protocol/deck_message.hpp"

#include <algorithm>
#include <array>
#include <utility>

#include "base/json_text.hpp"
#include "base/json_writer.hpp"
#include "deck/protocol/deck_message_fields.hpp"

namespace kolvo::deck {
namespace {

using wire::Json;
using Payload = KolvoDeckMessage::Payload;
template <std::size_t I>
using RecordAt = typename detail::RecordOf<std::variant_alternative_t<I, Payload>>::type;

template <std::size_t... I>
constexpr bool records_follow_the_type_order(std::index_sequence<I...>) {
  return ((RecordAt<I>::kType == static_cast<KolvoDeckMessageType>(I)) && ...);
}
static_assert(records_follow_the_type_order(std::make_index_sequence<std::variant_size_v<Payload>>{}),
              "the payload's alternatives follow KolvoDeckMessageType, so its index is the type");
static_assert(std::variant_size_v<Payload> == kMessageTypeTable.entries.size());
// A flood of small frames must not cost a large record each (libc++'s variant is a little
// larger than libstdc++'s, hence the room).
static_assert(sizeof(KolvoDeckMessage) <= 4 * sizeof(void*));

template <std::size_t I>
Payload fresh_payload() {
  return Payload(std::in_place_index<I>, RecordAt<I>{});
}

template <std::size_t... I>
constexpr auto fresh_payloads(std::index_sequence<I...>) {
  return std::array<Payload (*)(), sizeof...(I)>{&fresh_payload<I>...};
}

template <typename Codec>
bool check_value(const Json& value, std::string& why) {
  typename Codec::value_type ignored{};
  return Codec::read(value, ignored, why);
}

template <typename Record>
void add_keys(std::vector<wire::MessageKey>& keys) {
  std::apply(
      [&](const auto&... f) {
        (keys.push_back({f.key, &check_value<typename std::remove_cvref_t<decltype(f)>::codec>, Record::kType}), ...);
      },
      wire::Wire<Record>::fields);
}

template <std::size_t... I>
std::vector<wire::MessageKey> collect_keys(std::index_sequence<I...>) {
  std::vector<wire::MessageKey> keys;
  (add_keys<RecordAt<I>>(keys), ...);
  std::stable_sort(keys.begin(), keys.end(), [](const auto& a, const auto& b) { return a.key < b.key; });
  return keys;
}

// A key that belongs to another type's record: checked as that type would read it.
const wire::MessageKey* foreign_key(std::string_view key) {
  const auto& keys = wire::message_keys();
  const auto found = std::lower_bound(keys.begin(), keys.end(), key,
                                      [](const wire::MessageKey& entry, std::string_view k) { return entry.key < k; });
  return found != keys.end() && found->key == key ? &*found : nullptr;
}

// Walks the members present once: each goes to the record's field of that key, or is checked
// and dropped when another type carries it, or is ignored when no type does.
template <typename Record>
bool read_members(const Json& j, Record& record, std::string& why) {
  for (auto it = j.begin(); it != j.end(); ++it) {
    if (it->is_null()) continue;  // null reads as absent
    const std::string& key = it.key();
    if (key == "type") continue;
    bool ok = true;
    const bool own = wire::with_field<Record>(key, [&](const auto& f) { ok = wire::read_field_value(f, *it, record, why); });
    if (!own) {
      if (const wire::MessageKey* other = foreign_key(key); other && !other->check(*it, why)) {
        why = "." + key + why;
        ok = false;
      }
    }
    if (!ok) return false;
  }
  return true;
}

std::optional<KolvoDeckMessage> read_message(const Json& j, std::string& why) {
  if (!j.is_object()) {
    wire::fail(why, "expected an object");
    return std::nullopt;
  }
  const auto type_member = j.find("type");
  if (type_member == j.end() || type_member->is_null()) {
    why = ".type: missing";
    return std::nullopt;
  }
  KolvoDeckMessageType type{};
  if (!wire::Enumeration<kMessageTypeTable>::read(*type_member, type, why)) {
    why = ".type" + why;
    return std::nullopt;
  }
  KolvoDeckMessage message = KolvoDeckMessage::of(type);
  if (!message.visit([&](auto& record) { return read_members(j, record, why); })) return std::nullopt;
  return message;
}

void write_message(base::JsonWriter& w, const KolvoDeckMessage& message) {
  w.begin_object();
  w.key("type");
  w.string(kMessageTypeTable.to_string(message.type()));
  message.visit([&](const auto& record) { wire::write_fields(w, record); });
  w.end_object();
}

}  // namespace

namespace wire {

const std::vector<MessageKey>& message_keys() {
  static const std::vector<MessageKey> keys = collect_keys(std::make_index_sequence<std::variant_size_v<Payload>>{});
  return keys;
}

std::vector<std::string_view> message_keys_of(KolvoDeckMessageType type) {
  return KolvoDeckMessage::of(type).visit(
      [](const auto& record) { return keys_of<std::remove_cvref_t<decltype(record)>>(); });
}

}  // namespace wire

KolvoDeckMessage KolvoDeckMessage::of(KolvoDeckMessageType type) {
  static constexpr auto kFresh = fresh_payloads(std::make_index_sequence<std::variant_size_v<Payload>>{});
  return KolvoDeckMessage(kFresh[static_cast<std::size_t>(type)]());
}

void append_json(std::string& out, const KolvoDeckMessage& message) {
  base::JsonWriter writer(out);
  write_message(writer, message);
}

std::string encode_json(const KolvoDeckMessage& message) {
  std::string out;
  out.reserve(64);
  append_json(out, message);
  return out;
}

std::string encode_json(const KolvoDeckState& state) {
  std::string out;
  base::JsonWriter writer(out);
  wire::Object<KolvoDeckState>::write(writer, state);
  return out;
}

std::optional<KolvoDeckMessage> decode_message(const Json& j, std::string* error) {
  std::string why;
  auto message = read_message(j, why);
  if (!message && error) *error = "KolvoDeckMessage" + why;
  return message;
}

std::optional<KolvoDeckMessage> decode_message_text(std::string_view text, std::string* error) {
  const Json parsed = base::parse_json(text, error);
  if (parsed.is_discarded()) return std::nullopt;
  return decode_message(parsed, error);
}

}  // namespace kolvo::deck
