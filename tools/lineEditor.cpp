#include "lineEditor.h"

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <utility>

namespace {

constexpr int kHistoryLength = 1000;

/// How many characters at their beginning the words share.
size_t sharedLength(const std::vector<std::string>& words) {
  size_t length = words.front().size();
  for (const std::string& word : words) {
    const auto [a, b] = std::mismatch(word.begin(), word.end(), words.front().begin(), words.front().end());
    length = std::min(length, static_cast<size_t>(a - word.begin()));
  }
  return length;
}

}  // namespace

std::string historyFileOf(const std::string& program) {
  const char* state = getenv("XDG_STATE_HOME");
  const char* home = getenv("HOME");
  std::filesystem::path folder;
  if (state && *state == '/') {
    folder = state;
  } else if (home && *home == '/') {
    folder = std::filesystem::path(home) / ".local/state";
  } else {
    return {};
  }
  folder /= program;
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  return error ? "" : folder / "history";
}

LineEditor::LineEditor(std::string prompt, std::string historyFile, Complete complete)
    : prompt_(std::move(prompt)), historyFile_(std::move(historyFile)), complete_(std::move(complete)),
      history_(history_init()) {
  setlocale(LC_CTYPE, "");
  // Standard output is for answers.
  editor_.reset(el_init("qvvisa", stdin, stderr, stderr));
  HistEvent event;
  history(history_.get(), &event, H_SETSIZE, kHistoryLength);
  history(history_.get(), &event, H_SETUNIQUE, 1);
  if (!historyFile_.empty()) history(history_.get(), &event, H_LOAD, historyFile_.c_str());
  EditLine* const editor = editor_.get();
  el_set(editor, EL_CLIENTDATA, this);
  el_set(editor, EL_PROMPT, &LineEditor::prompt);
  el_set(editor, EL_EDITOR, "emacs");
  el_set(editor, EL_HIST, &history, history_.get());
  // libedit keeps wide strings as they are, and copies of others for ever.
  el_wset(editor, EL_ADDFN, L"qvvisa-complete", L"Complete a word", &LineEditor::completeWord);
  el_set(editor, EL_BIND, "^I", "qvvisa-complete", nullptr);
  // Ctrl-C drops what is typed, while it ends an operation that runs.
  el_set(editor, EL_SETTY, "-d", "-isig", nullptr);
  el_wset(editor, EL_ADDFN, L"qvvisa-drop", L"Drop the line", &LineEditor::dropLine);
  el_set(editor, EL_BIND, "^C", "qvvisa-drop", nullptr);
}

std::optional<std::string> LineEditor::next() {
  int length = 0;
  const char* text = el_gets(editor_.get(), &length);
  if (!text || length <= 0) return std::nullopt;
  std::string line(text, static_cast<size_t>(length));
  while (line.ends_with('\n') || line.ends_with('\r')) line.pop_back();
  if (!line.empty()) remember(line);
  return line;
}

void LineEditor::remember(const std::string& line) {
  HistEvent event;
  history(history_.get(), &event, H_ENTER, line.c_str());
  // At once, since an interrupt may end the program.
  if (!historyFile_.empty()) history(history_.get(), &event, H_SAVE, historyFile_.c_str());
}

LineEditor& LineEditor::of(EditLine* editor) {
  void* self = nullptr;
  el_get(editor, EL_CLIENTDATA, &self);
  return *static_cast<LineEditor*>(self);
}

char* LineEditor::prompt(EditLine* editor) {
  return of(editor).prompt_.data();
}

unsigned char LineEditor::completeWord(EditLine* editor, int) {
  const LineInfo* line = el_line(editor);
  const std::string_view text(line->buffer, static_cast<size_t>(line->cursor - line->buffer));
  const size_t wordLength = text.size() - (text.find_last_of(' ') + 1);
  const std::vector<std::string> words = of(editor).complete_(text);
  if (words.empty()) return CC_ERROR;
  const size_t shared = sharedLength(words);
  if (words.size() > 1 && shared <= wordLength) {
    fputc('\n', stderr);
    for (const std::string& word : words) fprintf(stderr, "%s  ", word.c_str());
    fputc('\n', stderr);
    return CC_REDISPLAY;
  }
  el_deletestr(editor, static_cast<int>(wordLength));
  const std::string completed = words.front().substr(0, shared);
  el_insertstr(editor, (completed + (words.size() == 1 && !completed.ends_with('=') ? " " : "")).c_str());
  return CC_REFRESH;
}

unsigned char LineEditor::dropLine(EditLine* editor, int) {
  const LineInfo* line = el_line(editor);
  el_cursor(editor, static_cast<int>(line->lastchar - line->cursor));
  el_deletestr(editor, static_cast<int>(line->lastchar - line->buffer));
  fputs("^C\n", stderr);
  return CC_REDISPLAY;
}
