#pragma once

#include "base/enum_table.hpp"

namespace kolvo::controls {

// Where the window snap service puts a window. The names are also the wire strings the phone
// sends, and the words `kolvo control snap` takes.
enum class WindowLayout {
  leftHalf, rightHalf, maximize, topHalf, bottomHalf, topLeft, topRight, bottomLeft, bottomRight, center,
};
inline constexpr auto kWindowLayoutTable = base::make_enum_table<WindowLayout>(
    {{WindowLayout::leftHalf, "leftHalf"}, {WindowLayout::rightHalf, "rightHalf"},
     {WindowLayout::maximize, "maximize"}, {WindowLayout::topHalf, "topHalf"},
     {WindowLayout::bottomHalf, "bottomHalf"}, {WindowLayout::topLeft, "topLeft"},
     {WindowLayout::topRight, "topRight"}, {WindowLayout::bottomLeft, "bottomLeft"},
     {WindowLayout::bottomRight, "bottomRight"}, {WindowLayout::center, "center"}});

}  // namespace kolvo::controls
