#pragma once

#include "deck/protocol/shelf_vocabulary.hpp"
#include "deck/protocol/wire_fields.hpp"

// The wire tables of the Shelf records: each key, its JSON type and its place, once.
namespace kolvo::deck::wire {

template <>
struct Wire<AdobeColorState> {
  using R = AdobeColorState;
  static constexpr auto fields = std::tuple{
      field<String>("hex", &R::hex),
      field<Integer>("red", &R::red),
      field<Integer>("green", &R::green),
      field<Integer>("blue", &R::blue),
      field<Integer>("hue", &R::hue),
      field<Integer>("saturation", &R::saturation),
      field<Integer>("brightness", &R::brightness),
      field<String>("title", &R::title),
      field<String>("pickerID", &R::picker_id),
  };
};

template <>
struct Wire<CreativeContinuousControl::Choice> {
  using R = CreativeContinuousControl::Choice;
  static constexpr auto fields = std::tuple{
      field<String>("id", &R::id),
      field<String>("label", &R::label),
  };
};

template <>
struct Wire<CreativeContinuousControl> {
  using R = CreativeContinuousControl;
  static constexpr auto fields = std::tuple{
      field<String>("id", &R::id),
      field<String>("label", &R::label),
      field<String>("detail", &R::detail),
      field<Real>("value", &R::value),
      field<Real>("minimum", &R::minimum),
      field<Real>("maximum", &R::maximum),
      field<Enumeration<kUnitTable>>("unit", &R::unit),
      field<Enumeration<kCurveTable>>("curve", &R::curve),
      field<Integer>("decimals", &R::decimals),
      field<String>("blockedReason", &R::blocked_reason),
      field<ArrayOf<String>>("axes", &R::axes),
      field<String>("activeAxis", &R::active_axis),
      field<ArrayOf<Object<R::Choice>>>("choices", &R::choices),
      field<String>("activeChoice", &R::active_choice),
  };
};

template <>
struct Wire<ShelfSurfaceState> {
  using R = ShelfSurfaceState;
  static constexpr auto fields = std::tuple{
      field<Enumeration<kShelfSurfaceIdentityTable>>("identity", &R::identity),
      field<Boolean>("available", &R::available),
      field<String>("unavailable", &R::unavailable),
      field<String>("trackID", &R::track_id),
      field<String>("title", &R::title),
      field<String>("artist", &R::artist),
      field<String>("album", &R::album),
      field<Base64>("artwork", &R::artwork),
      field<Real>("duration", &R::duration),
      field<Real>("position", &R::position),
      field<Boolean>("isPlaying", &R::is_playing),
      field<Integer>("volume", &R::volume),
      field<Real>("timestamp", &R::timestamp),  // seconds since 2001-01-01 UTC, with its fraction
      field<ArrayOf<OrNull<Enumeration<kAdobeToolIDTable>>>>("toolGrid", &R::tool_grid),
      field<Object<AdobeColorState>>("colorContext", &R::color_context),
      field<Object<CreativeContinuousControl>>("continuousControl", &R::continuous_control),
      field<Enumeration<kAdobeToolIDTable>>("activeTool", &R::active_tool),
      field<Enumeration<kShelfAgentActivityTable>>("agentActivity", &R::agent_activity),
      field<String>("agentDetail", &R::agent_detail),
      field<ArrayOf<Enumeration<kBlenderToolIDTable>>>("blenderTools", &R::blender_tools),
      field<ArrayOf<Enumeration<kBlenderToolIDTable>>>("blenderActive", &R::blender_active),
      field<StringMap<String>>("blenderLabels", &R::blender_labels),
  };
};

}  // namespace kolvo::deck::wire
