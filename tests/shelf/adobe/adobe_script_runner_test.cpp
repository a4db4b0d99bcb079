#include "shelf/adobe/adobe_script_runner.hpp"

#include <gtest/gtest.h>

#include <functional>

#include "platform/sim/simulated_adobe.hpp"
#include "support/temp_root.hpp"

namespace kolvo::shelf {
namespace {

using R = AdobeScriptRunner;
using Outcome = R::Outcome;
namespace fs = std::filesystem;

// Answers every script as the test says and remembers what it was given.
class ScriptedRunner final : public ScriptRunner {
 public:
  explicit ScriptedRunner(std::function<ScriptRun(const std::string&)> reply) : reply_(std::move(reply)) {}
  ScriptRun run_script(const std::string& source, const std::optional<std::string>& cache_key) override {
    sources.push_back(source);
    keys.push_back(cache_key);
    return reply_(source);
  }
  std::vector<std::string> sources;
  std::vector<std::optional<std::string>> keys;

 private:
  std::function<ScriptRun(const std::string&)> reply_;
};

// The result file a DoScript names, as After Effects reads it.
fs::path result_file_of(const std::string& source) {
  const auto handed = sim::read_handed_javascript(source);
  if (!handed) return {};
  const std::string open = "new File('";
  const auto from = handed->javascript.find(open) + open.size();
  return handed->javascript.substr(from, handed->javascript.find("')", from) - from);
}

TEST(AdobeScriptRunner, EscapesTheJavaScriptForOneAppleScriptStringLiteral) {
  struct Case {
    const char* name;
    std::string javascript;
    std::string escaped;
  };
  const std::string open_data = "\" & (\xC2\xAB" "data utf8";
  const std::string close_data = "\xC2\xBB as text) & \"";
  const Case cases[] = {
      {"plain", "app.currentTool", "app.currentTool"},
      {"quotes", R"(alert("hi"))", R"(alert(\"hi\"))"},
      {"backslashes", R"(var p='C:\\x')", R"(var p='C:\\\\x')"},
      // The backslash is doubled before the quotation mark is escaped, never after.
      {"an escaped quote in a JavaScript string", R"("a\"b")", R"(\"a\\\"b\")"},
      {"line feeds and returns", "var a=1;\nvar b=2;\r\n", "var a=1;\\nvar b=2;\\r\\n"},
      {"a tab", "if(a)\t{}", "if(a)\\t{}"},
      {"line separator", "'a\xE2\x80\xA8" "b'", "'a" + open_data + "E280A8" + close_data + "b'"},
      {"paragraph separator at the end", "x\xE2\x80\xA9", "x" + open_data + "E280A9" + close_data},
      {"a control", std::string("a\x01z"), "a" + open_data + "01" + close_data + "z"},
      {"other text passes", "'Ebene \xC3\xBC" "ber \xE2\x82\xAC'", "'Ebene \xC3\xBC" "ber \xE2\x82\xAC'"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(R::escape(c.javascript), c.escaped);
  }
}

TEST(AdobeScriptRunner, HandsTheApplicationTheJavaScriptExactlyAsWritten) {
  sim::SimulatedApplications applications;
  const auto adobe = sim::install_simulated_adobe(applications);
  applications.launch("com.adobe.Photoshop");
  const R runner(std::shared_ptr<ScriptRunner>(&applications, [](ScriptRunner*) {}));
  const std::vector<std::string> scripts = {
      R"(alert("Say \"hi\"\\n");)",
      "var s='first\nsecond\r\nthird';",
      "var t='\xE2\x80\xA8\xE2\x80\xA9';// \xE2\x80\xA8 comment",
      "var c=String.fromCharCode(9)+'\t'+'\x02';",
      "\"\"\\\\\"",
      "\n",
  };
  for (const auto& javascript : scripts) {
    SCOPED_TRACE(javascript);
    // Photoshop does not know these scripts, but it reads each before it says so.
    EXPECT_EQ(runner.run("com.adobe.Photoshop", javascript, 3, R::Text::carries_values),
              Outcome(R::Failed{"could not compile"}));
    ASSERT_FALSE(adobe.photoshop->javascripts().empty());
    EXPECT_EQ(adobe.photoshop->javascripts().back(), javascript);
    // Nothing in the AppleScript can break its string literal across lines.
    const std::string source = applications.scripts_run().back();
    const std::string_view statement = std::string_view(source).substr(0, source.size() - std::string("\nend timeout").size());
    const auto tell = statement.find("  tell");
    EXPECT_EQ(statement.substr(tell).find_first_of("\n\r"), std::string_view::npos);
    EXPECT_EQ(source.find("\xE2\x80\xA8"), std::string::npos);
    EXPECT_EQ(source.find("\xE2\x80\xA9"), std::string::npos);
  }
}

TEST(AdobeScriptRunner, WrapsTheScriptInATimeoutAndKeepsOnlyFixedTextsCompiled) {
  auto apple_events = std::make_shared<ScriptedRunner>(
      [](const std::string&) { return ScriptRun::returned({"moveTool", std::nullopt, std::nullopt}); });
  const R runner(apple_events);
  EXPECT_EQ(runner.run("com.adobe.Photoshop", "app.currentTool", 3, R::Text::fixed), Outcome(R::Success{"moveTool"}));
  EXPECT_EQ(runner.run("com.adobe.Photoshop", "app.foregroundColor.rgb.hexValue='FF0000'", 10,
                       R::Text::carries_values),
            Outcome(R::Success{"moveTool"}));
  ASSERT_EQ(apple_events->sources.size(), 2u);
  EXPECT_EQ(apple_events->sources[0],
            "with timeout of 3 seconds\n  tell application id \"com.adobe.Photoshop\" to do javascript "
            "\"app.currentTool\"\nend timeout");
  EXPECT_EQ(apple_events->keys[0], "com.adobe.Photoshop|3|app.currentTool");
  EXPECT_TRUE(apple_events->sources[1].starts_with("with timeout of 10 seconds\n"));
  EXPECT_EQ(apple_events->keys[1], std::nullopt);
}

TEST(AdobeScriptRunner, MapsTheApplicationsAnswers) {
  struct Case {
    const char* name;
    ScriptRun reply;
    Outcome expected;
  };
  const Case cases[] = {
      {"automation denied", ScriptRun::error(-1743, "Not authorized to send Apple events."), R::AutomationDenied{}},
      {"quit mid-conversation", ScriptRun::error(-609, "Connection is invalid."), R::NotRunning{}},
      {"not running", ScriptRun::error(-600, "Application isn't running."), R::NotRunning{}},
      {"a script error", ScriptRun::error(-2700, "Photoshop got an error: General error"),
       R::Failed{"-2700 Photoshop got an error: General error"}},
      {"an error without a message", ScriptRun::error(-1712, std::nullopt), R::Failed{"-1712 unknown"}},
      {"an error with an empty message", ScriptRun::error(-2700, ""), R::Failed{"-2700 unknown"}},
      {"not compiled", ScriptRun::not_compiled(), R::Failed{"could not compile"}},
      {"a text", ScriptRun::returned({"lassoTool", 4.0, std::nullopt}), R::Success{"lassoTool"}},
      {"a number only", ScriptRun::returned({std::nullopt, 12.5, std::nullopt}), R::Success{"12.5"}},
      {"nothing", ScriptRun::returned({}), R::Success{std::nullopt}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const R runner(std::make_shared<ScriptedRunner>([&c](const std::string&) { return c.reply; }));
    const Outcome outcome = runner.run("com.adobe.Photoshop", "app.currentTool", 3, R::Text::fixed);
    EXPECT_EQ(outcome, c.expected) << describe(outcome);
  }
}

TEST(AdobeScriptRunner, AfterEffectsAnswersThroughAResultFileThatIsRemovedAfterwards) {
  // A folder whose name needs care in a JavaScript string and in ExtendScript's File.
  testing::TempRoot root("adobe-runner");
  const fs::path temp = root.path() / "it's 100%41 sure";
  fs::create_directories(temp);
  sim::SimulatedApplications applications;
  const auto adobe = sim::install_simulated_adobe(applications);
  applications.launch("com.adobe.AfterEffects");
  const std::shared_ptr<ScriptRunner> apple_events(&applications, [](ScriptRunner*) {});
  const R runner(apple_events, temp);
  const std::string read_tool = "var L=[];try{var t=app.project.toolType;var N=['Tool_Arrow','Tool_Oval'];"
                                "for(var i=0;i<N.length;i++){var v=ToolType[N[i]];if(v!==undefined&&v==t)"
                                "{L.push(N[i]);break;}}}catch(e){}";

  adobe.after_effects->set_active_tool("Tool_Oval");
  EXPECT_EQ(runner.run_in_after_effects("com.adobe.AfterEffects", read_tool, 3), Outcome(R::Success{"Tool_Oval"}));
  const std::string source = applications.scripts_run().back();
  EXPECT_NE(source.find(" to DoScript \"var __out=new File('"), std::string::npos);
  const std::string name = result_file_of(source).filename().string();
  EXPECT_TRUE(name.starts_with("kolvo-ae") && name.ends_with(".txt")) << name;
  EXPECT_TRUE(fs::is_empty(temp)) << "the result file is left behind";
  // A name that is new at every run is never kept compiled.
  EXPECT_TRUE(applications.compilations_by_key().empty());

  // A tool the script does not list gives no line at all.
  adobe.after_effects->set_active_tool("Tool_Star");
  EXPECT_EQ(runner.run_in_after_effects("com.adobe.AfterEffects", read_tool, 3), Outcome(R::Success{""}));

  adobe.after_effects->set_scripts_may_write_files(false);
  EXPECT_EQ(runner.run_in_after_effects("com.adobe.AfterEffects", read_tool, 3),
            Outcome(R::Failed{"After Effects wrote no result file"}));

  // After Effects' own errors are mapped as any application's.
  applications.quit("com.adobe.AfterEffects");
  EXPECT_EQ(runner.run_in_after_effects("com.adobe.AfterEffects", read_tool, 3), Outcome(R::NotRunning{}));
  EXPECT_TRUE(fs::is_empty(temp));
}

TEST(AdobeScriptRunner, AfterEffectsWithoutAUsableTemporaryFolderIsNotAsked) {
  testing::TempRoot root("adobe-temp");
  root.write("a file", "not a folder");
  for (const fs::path& folder : {root.path() / "missing", root.path() / "a file", root.path() / "line\nbreak"}) {
    SCOPED_TRACE(folder.string());
    fs::create_directories(root.path() / "line\nbreak");
    auto apple_events = std::make_shared<ScriptedRunner>([](const std::string&) { return ScriptRun::returned({}); });
    const R runner(apple_events, folder);
    EXPECT_EQ(runner.run_in_after_effects("com.adobe.AfterEffects", "var L=[];", 3),
              Outcome(R::Failed{"unusable temp path"}));
    EXPECT_TRUE(apple_events->sources.empty());
  }
}

}  // namespace
}  // namespace kolvo::shelf
