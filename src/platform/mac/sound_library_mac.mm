#import <AVFAudio/AVFAudio.h>

#include "platform/mac/mac_adapters.hpp"

namespace kolvo::platform {
namespace {

class MacSoundPlayer final : public sound::SoundPlayer {
 public:
  explicit MacSoundPlayer(AVAudioPlayer* player) : player_(player) {}
  void stop() override { [player_ stop]; }
  void rewind() override { player_.currentTime = 0; }
  void set_volume(double volume) override { player_.volume = static_cast<float>(volume); }
  void play() override { [player_ play]; }

 private:
  AVAudioPlayer* player_;
};

}  // namespace

std::unique_ptr<sound::SoundPlayer> MacSoundLibrary::load(prefs::Sound sound) {
  @autoreleasepool {
    NSString* name = [NSString stringWithUTF8String:std::string(prefs::to_string(sound)).c_str()];
    NSURL* url = [NSBundle.mainBundle URLForResource:name withExtension:@"mp3" subdirectory:@"Sounds"];
    if (url == nil && !fallback_folder_.empty()) {
      NSString* folder = [NSString stringWithUTF8String:fallback_folder_.c_str()];
      url = [NSURL fileURLWithPath:[[folder stringByAppendingPathComponent:name] stringByAppendingPathExtension:@"mp3"]];
    }
    if (url == nil) return nullptr;
    NSError* error = nil;
    AVAudioPlayer* player = [[AVAudioPlayer alloc] initWithContentsOfURL:url error:&error];
    if (player == nil) return nullptr;
    [player prepareToPlay];
    return std::make_unique<MacSoundPlayer>(player);
  }
}

}  // namespace kolvo::platform
