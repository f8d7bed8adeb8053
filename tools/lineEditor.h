/// A line that the user types on a terminal, with history and completion.
#pragma once

#include <histedit.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class LineEditor {
public:
  /// Tells what the last word of the text in front of the cursor may become.
  using Complete = std::function<std::vector<std::string>(std::string_view text)>;

  /// @param historyFile  empty if nothing is to be kept
  LineEditor(std::string prompt, std::string historyFile, Complete complete);
  LineEditor(const LineEditor&) = delete;
  LineEditor& operator=(const LineEditor&) = delete;

  /// The next line without its end; nothing at the end of the input.
  std::optional<std::string> next();

private:
  struct Release {
    void operator()(EditLine* editor) const { el_end(editor); }
    void operator()(History* history) const { history_end(history); }
  };

  static LineEditor& of(EditLine* editor);
  static char* prompt(EditLine* editor);
  static unsigned char completeWord(EditLine* editor, int key);
  static unsigned char dropLine(EditLine* editor, int key);
  void remember(const std::string& line);

  std::string prompt_;
  std::string historyFile_;
  Complete complete_;
  std::unique_ptr<History, Release> history_;
  std::unique_ptr<EditLine, Release> editor_;
};

/// Where a program of this name keeps its history, by the XDG rules; made if it isn't there. Empty if it can't be.
std::string historyFileOf(const std::string& program);
