#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "base/base64.hpp"
#include "base/enum_table.hpp"
#include "base/json_reader.hpp"
#include "base/json_writer.hpp"
#include "deck/protocol/indirect.hpp"

// The phone link's records are each described once, as a table of fields: key, JSON type and
// place in the order. Reading and writing walk the same table, so the two directions cannot
// drift apart, and the phone's codec sees exactly the keys, order and number forms it writes.
//
// A member that is a plain value is required; a std::optional or an Indirect is optional,
// left out when absent, and absent when missing or null on reading.
namespace kolvo::deck::wire {

using Json = nlohmann::json;

// A failed read leaves in `why` where and what went wrong: ".state.available.volume: expected
// a boolean". Leaves say what; each enclosing object or array puts its key or index in front.
inline bool fail(std::string& why, std::string_view what) {
  why = ": ";
  why += what;
  return false;
}

// Codecs: how one JSON value is read into, and written from, one C++ value.

struct String {
  using value_type = std::string;
  static void write(base::JsonWriter& w, const value_type& v) { w.string(v); }
  static bool read(const Json& j, value_type& out, std::string& why) {
    if (!j.is_string()) return fail(why, "expected a string");
    out = j.get_ref<const std::string&>();
    return true;
  }
};

// Any JSON number reads as a real; the phone writes a whole real without a fraction.
struct Real {
  using value_type = double;
  static void write(base::JsonWriter& w, value_type v) { w.real(v); }
  static bool read(const Json& j, value_type& out, std::string& why) {
    if (!j.is_number()) return fail(why, "expected a number");
    out = j.get<double>();
    return true;
  }
};

// A whole number that fits, as Swift's Int(exactly:) takes it: 2.0 reads, 1.5 and 1e300 do not.
struct Integer {
  using value_type = std::int64_t;
  static void write(base::JsonWriter& w, value_type v) { w.integer(v); }
  static bool read(const Json& j, value_type& out, std::string& why) {
    const auto whole = base::whole_number(j, INT64_MIN, INT64_MAX);
    if (!whole) return fail(why, "expected a whole number in range");
    out = *whole;
    return true;
  }
};

struct Boolean {
  using value_type = bool;
  static void write(base::JsonWriter& w, value_type v) { w.boolean(v); }
  static bool read(const Json& j, value_type& out, std::string& why) {
    if (!j.is_boolean()) return fail(why, "expected a boolean");
    out = j.get<bool>();
    return true;
  }
};

// An enumeration travels as its string; an unknown string fails the record that holds it.
template <const auto& Table>
struct Enumeration {
  using value_type = std::remove_cvref_t<decltype(Table.entries[0].first)>;
  static void write(base::JsonWriter& w, value_type v) { w.string(Table.to_string(v)); }
  static bool read(const Json& j, value_type& out, std::string& why) {
    if (!j.is_string()) return fail(why, "expected a string");
    const auto& text = j.get_ref<const std::string&>();
    const auto parsed = Table.parse(text);
    if (!parsed) return fail(why, "unknown case '" + text + "'");
    out = *parsed;
    return true;
  }
};

// Bytes travel as standard base64 with padding and no line breaks.
struct Base64 {
  using value_type = std::vector<std::uint8_t>;
  static void write(base::JsonWriter& w, const value_type& v) { w.string(base::base64_encode(v)); }
  static bool read(const Json& j, value_type& out, std::string& why) {
    if (!j.is_string()) return fail(why, "expected a string");
    auto decoded = base::base64_decode(j.get_ref<const std::string&>());
    if (!decoded) return fail(why, "not base64");
    out = std::move(*decoded);
    return true;
  }
};

// An array whose every element reads; one element that does not fails the record.
template <typename Element>
struct ArrayOf {
  using value_type = std::vector<typename Element::value_type>;
  static void write(base::JsonWriter& w, const value_type& v) {
    w.begin_array();
    for (const auto& element : v) Element::write(w, element);
    w.end_array();
  }
  static bool read(const Json& j, value_type& out, std::string& why) {
    if (!j.is_array()) return fail(why, "expected an array");
    out.clear();
    out.reserve(j.size());
    for (const Json& item : j) {
      typename Element::value_type element{};
      if (!Element::read(item, element, why)) {
        why = "[" + std::to_string(out.size()) + "]" + why;
        return false;
      }
      out.push_back(std::move(element));
    }
    return true;
  }
};

// An element that may be null, such as an empty cell of a tool grid.
template <typename Inner>
struct OrNull {
  using value_type = std::optional<typename Inner::value_type>;
  static void write(base::JsonWriter& w, const value_type& v) {
    if (v) {
      Inner::write(w, *v);
    } else {
      w.null();
    }
  }
  static bool read(const Json& j, value_type& out, std::string& why) {
    if (j.is_null()) {
      out.reset();
      return true;
    }
    return Inner::read(j, out.emplace(), why);
  }
};

// An object used as a dictionary; written in ascending key order.
template <typename Value>
struct StringMap {
  using value_type = std::map<std::string, typename Value::value_type>;
  static void write(base::JsonWriter& w, const value_type& v) {
    w.begin_object();
    for (const auto& [key, value] : v) {
      w.key(key);
      Value::write(w, value);
    }
    w.end_object();
  }
  static bool read(const Json& j, value_type& out, std::string& why) {
    if (!j.is_object()) return fail(why, "expected an object");
    out.clear();
    for (auto it = j.begin(); it != j.end(); ++it) {
      typename Value::value_type value{};
      if (!Value::read(*it, value, why)) {
        why = "." + it.key() + why;
        return false;
      }
      out.emplace(it.key(), std::move(value));
    }
    return true;
  }
};

// The field table of a record, specialised beside the record:
//   template <> struct Wire<R> { static constexpr auto fields = std::tuple{field<String>("id", &R::id), ...}; };
template <typename Record>
struct Wire;

template <typename Codec, typename Record, typename Member>
struct Field {
  using codec = Codec;
  using value_type = typename Codec::value_type;
  static constexpr bool kRequired = std::is_same_v<Member, value_type>;

  std::string_view key;
  Member Record::*member;

  bool present(const Record& r) const {
    if constexpr (kRequired) {
      return true;
    } else {
      return (r.*member).has_value();
    }
  }
  const value_type& value(const Record& r) const {
    if constexpr (kRequired) {
      return r.*member;
    } else {
      return *(r.*member);
    }
  }
  value_type& emplace(Record& r) const {
    if constexpr (kRequired) {
      return r.*member;
    } else {
      return (r.*member).emplace();
    }
  }
};

template <typename Codec, typename Record, typename Member>
constexpr Field<Codec, Record, Member> field(std::string_view key, Member Record::*member) {
  using Value = typename Codec::value_type;
  static_assert(std::is_same_v<Member, Value> || std::is_same_v<Member, std::optional<Value>> ||
                    std::is_same_v<Member, Indirect<Value>>,
                "a field holds its codec's value, plainly (required) or as std::optional or Indirect");
  return {key, member};
}

// Writes the record's present fields, in table order, into the object being written.
template <typename Record>
void write_fields(base::JsonWriter& w, const Record& record) {
  std::apply(
      [&](const auto&... f) {
        (
            [&] {
              if (!f.present(record)) return;
              w.key(f.key);
              std::remove_cvref_t<decltype(f)>::codec::write(w, f.value(record));
            }(),
            ...);
      },
      Wire<Record>::fields);
}

// Reads one present, non-null member into the field it belongs to.
template <typename F, typename Record>
bool read_field_value(const F& f, const Json& value, Record& record, std::string& why) {
  if (F::codec::read(value, f.emplace(record), why)) return true;
  why = "." + std::string(f.key) + why;
  return false;
}

// Calls `visit` with the field whose key is `key`; false when the record has none.
template <typename Record, typename Visit>
bool with_field(std::string_view key, Visit&& visit) {
  return std::apply([&](const auto&... f) { return ((f.key == key && (visit(f), true)) || ...); },
                    Wire<Record>::fields);
}

// A nested record, through its table. Unknown keys are ignored; a required field that is
// missing or null fails.
template <typename Record>
struct Object {
  using value_type = Record;
  static void write(base::JsonWriter& w, const Record& r) {
    w.begin_object();
    write_fields(w, r);
    w.end_object();
  }
  static bool read(const Json& j, Record& out, std::string& why) {
    if (!j.is_object()) return fail(why, "expected an object");
    return std::apply([&](const auto&... f) { return (read_member(j, out, f, why) && ...); }, Wire<Record>::fields);
  }

 private:
  template <typename F>
  static bool read_member(const Json& j, Record& out, const F& f, std::string& why) {
    const auto it = j.find(f.key);
    if (it == j.end() || it->is_null()) {
      if constexpr (F::kRequired) {
        why = "." + std::string(f.key) + ": missing";
        return false;
      }
      return true;
    }
    return read_field_value(f, *it, out, why);
  }
};

// The keys of a record's table, in order.
template <typename Record>
std::vector<std::string_view> keys_of() {
  return std::apply([](const auto&... f) { return std::vector<std::string_view>{f.key...}; }, Wire<Record>::fields);
}

}  // namespace kolvo::deck::wire
