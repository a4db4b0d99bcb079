#pragma once

#include <string_view>

// The vocabulary of the preference domain: every key, and the notifications posted after
// writes. Keys owned by later subsystems are listed too, so the whole domain is known here.
namespace kolvo::prefs::keys {

inline constexpr std::string_view kAccentColorRGB = "com.kolvo.accentColorRGB";
inline constexpr std::string_view kLockCalibration = "com.kolvo.lockCalibration";
inline constexpr std::string_view kFollowDockChangesAutomatically = "com.kolvo.followDockChangesAutomatically";
inline constexpr std::string_view kAlignmentEdgeOffset = "com.kolvo.alignmentEdgeOffset";
inline constexpr std::string_view kControlAppearance = "com.kolvo.controlAppearance";
inline constexpr std::string_view kLiquidGlassControls = "com.kolvo.liquidGlassControls";
inline constexpr std::string_view kKnobStyle = "com.kolvo.knobStyle";
inline constexpr std::string_view kLiquidGlassConfiguration = "com.kolvo.liquidGlass.configuration";
inline constexpr std::string_view kCornerTopLeftMode = "com.kolvo.cornerTopLeftMode";
inline constexpr std::string_view kCornerTopRightMode = "com.kolvo.cornerTopRightMode";
inline constexpr std::string_view kCornerBottomLeftMode = "com.kolvo.cornerBottomLeftMode";
inline constexpr std::string_view kCornerBottomRightMode = "com.kolvo.cornerBottomRightMode";
inline constexpr std::string_view kLeftEdgeMode = "com.kolvo.leftEdgeMode";
inline constexpr std::string_view kRightEdgeMode = "com.kolvo.rightEdgeMode";
inline constexpr std::string_view kActivationSide = "com.kolvo.activationSide";
inline constexpr std::string_view kUsePressureZone = "com.kolvo.usePressureZone";
inline constexpr std::string_view kDockExpandingAppsEnabled = "com.kolvo.dock.expandingAppsEnabled";
inline constexpr std::string_view kShowActivationZones = "com.kolvo.showActivationZones";
inline constexpr std::string_view kSoundEffectsEnabled = "com.kolvo.soundEffectsEnabled";
inline constexpr std::string_view kDeckEnabled = "com.kolvo.deckEnabled";
inline constexpr std::string_view kDeckStatsEnabled = "com.kolvo.deck.stats.enabled";
inline constexpr std::string_view kLaunchBetaEnabled = "com.kolvo.launchBetaEnabled";
inline constexpr std::string_view kOnboardingCompleted = "com.kolvo.onboardingCompleted";
inline constexpr std::string_view kDeckTrustedDevices = "com.kolvo.deckTrustedDevices";
inline constexpr std::string_view kShelfWidgets = "com.kolvo.deck.shelf.widgets";
inline constexpr std::string_view kShelfBackground = "com.kolvo.deck.shelf.background";
inline constexpr std::string_view kToolGridIllustrator = "com.kolvo.deck.shelf.toolGrid.illustrator";
inline constexpr std::string_view kToolGridPhotoshop = "com.kolvo.deck.shelf.toolGrid.photoshop";
inline constexpr std::string_view kToolGridPremiere = "com.kolvo.deck.shelf.toolGrid.premiere";
inline constexpr std::string_view kToolGridAfterEffects = "com.kolvo.deck.shelf.aeToolGrid";
inline constexpr std::string_view kSelectedApps = "com.kolvo.selectedApps";
inline constexpr std::string_view kAppLauncherSlots = "com.kolvo.appLauncher.slots";
inline constexpr std::string_view kAppLauncherConfigurationVersion = "com.kolvo.appLauncher.configurationVersion";
inline constexpr std::string_view kAppProfiles = "com.kolvo.appProfiles";
inline constexpr std::string_view kDockCalibration = "com.kolvo.dockCalibration";
inline constexpr std::string_view kMultiDisplayCalibration = "com.kolvo.multiDisplayCalibration";
inline constexpr std::string_view kTimerSelectedMinutes = "com.kolvo.timer.selectedMinutes";
inline constexpr std::string_view kTimerRunning = "com.kolvo.timer.running";
inline constexpr std::string_view kTimerEndDate = "com.kolvo.timer.endDate";
inline constexpr std::string_view kUpdateDismissedVersion = "com.kolvo.updateDismissedVersion";

}  // namespace kolvo::prefs::keys

namespace kolvo::prefs::notifications {

inline constexpr std::string_view kLockCalibrationChanged = "com.kolvo.lockCalibrationChanged";
inline constexpr std::string_view kFollowDockChangesChanged = "com.kolvo.followDockChangesChanged";
inline constexpr std::string_view kAlignmentEdgeOffsetChanged = "com.kolvo.alignmentEdgeOffsetChanged";
// One name for both edges: listeners re-read the store.
inline constexpr std::string_view kEdgeModeChanged = "com.kolvo.edgeModeChanged";
inline constexpr std::string_view kActivationSideChanged = "com.kolvo.activationSideChanged";
inline constexpr std::string_view kSelectedDisplayChanged = "com.kolvo.selectedDisplayChanged";
inline constexpr std::string_view kSelectedDisplayDisconnected = "com.kolvo.selectedDisplayDisconnected";
inline constexpr std::string_view kAppLaunchedFromTray = "com.kolvo.appLaunchedFromTray";

}  // namespace kolvo::prefs::notifications
