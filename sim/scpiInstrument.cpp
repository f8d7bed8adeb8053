#include "scpiInstrument.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <optional>
#include <utility>

namespace qvsim {
namespace {

constexpr size_t errorQueueSize = 16;
constexpr int queueOverflow = -350;

constexpr std::pair<int, const char*> errorTexts[] = {
    {0, "No error"},
    {-100, "Command error"},
    {-104, "Data type error"},
    {-108, "Parameter not allowed"},
    {-109, "Missing parameter"},
    {-113, "Undefined header"},
    {-131, "Invalid suffix"},
    {-222, "Data out of range"},
    {-350, "Queue overflow"},
    {-363, "Input buffer overrun"},
    {-410, "Query INTERRUPTED"},
    {-420, "Query UNTERMINATED"},
};

constexpr char upper(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}
constexpr bool isLower(char c) {
  return c >= 'a' && c <= 'z';
}

// IEEE 488.2 counts every control character but newline as white space.
constexpr bool isSpace(char c) {
  return static_cast<unsigned char>(c) <= ' ';
}

std::string_view trim(std::string_view text) {
  while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && isSpace(text.back())) text.remove_suffix(1);
  return text;
}

// Cuts the text before the separator off the front of `rest`; without a separator that is all of it.
std::string_view cut(std::string_view& rest, char separator) {
  const size_t at = std::min(rest.find(separator), rest.size());
  const std::string_view head = rest.substr(0, at);
  rest.remove_prefix(std::min(at + 1, rest.size()));
  return head;
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) { return upper(x) == upper(y); });
}

// A mnemonic of the table, such as "VOLTage", stands for its short form (the capitals) and its long form, no other.
bool matchesMnemonic(std::string_view mnemonic, std::string_view text) {
  const auto shortEnd = std::find_if(mnemonic.begin(), mnemonic.end(), isLower);
  const std::string_view shortForm = mnemonic.substr(0, static_cast<size_t>(shortEnd - mnemonic.begin()));
  return equalsIgnoringCase(text, mnemonic) || equalsIgnoringCase(text, shortForm);
}

bool matchesHeader(std::string_view pattern, std::string_view header) {
  if (pattern.ends_with('?') != header.ends_with('?')) return false;
  if (pattern.ends_with('?')) {
    pattern.remove_suffix(1);
    header.remove_suffix(1);
  }
  if (std::count(pattern.begin(), pattern.end(), ':') != std::count(header.begin(), header.end(), ':')) return false;
  while (!pattern.empty()) {
    if (!matchesMnemonic(cut(pattern, ':'), cut(header, ':'))) return false;
  }
  return true;
}

struct Number {
  double value = 0;
  int error = 0;
};

Number parseNumber(std::string_view text) {
  if (text.starts_with('+')) text.remove_prefix(1);
  double value = 0;
  const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (fault == std::errc::result_out_of_range) return {0, -222};
  if (fault != std::errc{} || !std::isfinite(value)) return {0, -104};
  return {value, end == text.data() + text.size() ? 0 : -131};
}

template <typename... Arguments>
std::string format(const char* pattern, Arguments... arguments) {
  std::array<char, 64> text{};
  const int length = std::snprintf(text.data(), text.size(), pattern, arguments...);
  return {text.data(), static_cast<size_t>(length)};
}

}  // namespace

struct ScpiInstrument::Command {
  enum class Argument { none, required };
  std::string_view header;
  Argument argument;
  std::string (ScpiInstrument::*run)(std::string_view argument);
};

const ScpiInstrument::Command ScpiInstrument::commands[] = {
    {"*IDN?", Command::Argument::none, &ScpiInstrument::identification},
    {"*RST", Command::Argument::none, &ScpiInstrument::reset},
    {"*CLS", Command::Argument::none, &ScpiInstrument::clearStatus},
    {"*ESR?", Command::Argument::none, &ScpiInstrument::readEvents},
    {"*ESE", Command::Argument::required, &ScpiInstrument::setEventEnable},
    {"*ESE?", Command::Argument::none, &ScpiInstrument::eventEnable},
    {"*SRE", Command::Argument::required, &ScpiInstrument::setServiceEnable},
    {"*SRE?", Command::Argument::none, &ScpiInstrument::serviceEnable},
    {"*STB?", Command::Argument::none, &ScpiInstrument::readStatus},
    {"*OPC", Command::Argument::none, &ScpiInstrument::operationComplete},
    {"*OPC?", Command::Argument::none, &ScpiInstrument::one},
    {"*WAI", Command::Argument::none, &ScpiInstrument::nothing},
    {"*TST?", Command::Argument::none, &ScpiInstrument::zero},
    {"SYSTem:ERRor?", Command::Argument::none, &ScpiInstrument::nextError},
    {"SYSTem:ERRor:NEXT?", Command::Argument::none, &ScpiInstrument::nextError},
    {"VOLTage", Command::Argument::required, &ScpiInstrument::setVoltage},
    {"VOLTage?", Command::Argument::none, &ScpiInstrument::voltageSetting},
    {"MEASure:VOLTage?", Command::Argument::none, &ScpiInstrument::measureVoltage},
    {"MEASure:VOLTage:DC?", Command::Argument::none, &ScpiInstrument::measureVoltage},
    {"DATA:BLOCk?", Command::Argument::required, &ScpiInstrument::block},
};

const ScpiInstrument::Command* ScpiInstrument::findCommand(std::string_view header) {
  const auto found = std::find_if(std::begin(commands), std::end(commands),
                                  [header](const Command& command) { return matchesHeader(command.header, header); });
  return found == std::end(commands) ? nullptr : found;
}

ScpiInstrument::ScpiInstrument(Identity identity) : identity_(std::move(identity)) {}

std::string ScpiInstrument::execute(std::string_view message, bool responsePending) {
  const std::lock_guard lock(mutex_);
  std::string path;
  std::string response;
  while (!message.empty()) executeUnit(trim(cut(message, ';')), path, responsePending, response);
  if (!response.empty()) response += '\n';
  return response;
}

// A header without a leading colon continues at the level of the one before it ("SYST:ERR?;ERR?"), common commands
// stand outside the tree and leave the level alone.
void ScpiInstrument::executeUnit(std::string_view unit, std::string& path, bool responsePending,
                                 std::string& response) {
  if (unit.empty()) return;
  const auto headerEnd = std::find_if(unit.begin(), unit.end(), isSpace);
  std::string header(unit.begin(), headerEnd);
  const std::string_view argument = trim(unit.substr(header.size()));
  if (!header.starts_with('*')) {
    header = header.starts_with(':') ? header.substr(1) : path + header;
    path = header.substr(0, header.rfind(':') + 1);
  }
  const Command* command = findCommand(header);
  if (!command) return raise(-113);
  if (command->argument == Command::Argument::none && !argument.empty()) return raise(-108);
  if (command->argument == Command::Argument::required && argument.empty()) return raise(-109);
  responsePending_ = responsePending || !response.empty();
  const std::string answer = (this->*command->run)(argument);
  if (!answer.empty() && !response.empty()) response += ';';
  response += answer;
}

void ScpiInstrument::reportError(int code) {
  const std::lock_guard lock(mutex_);
  raise(code);
}

void ScpiInstrument::raise(int code) {
  constexpr std::array<unsigned, 5> eventOfClass = {0, esr::commandError, esr::executionError, esr::deviceError,
                                                    esr::queryError};
  events_ = static_cast<uint8_t>(events_ | eventOfClass.at(static_cast<size_t>(-code / 100)));
  if (errors_.size() < errorQueueSize) {
    errors_.push_back(code);
  } else {
    errors_.back() = queueOverflow;
  }
}

uint8_t ScpiInstrument::statusByte(bool responsePending) const {
  const std::lock_guard lock(mutex_);
  return status(responsePending);
}

uint8_t ScpiInstrument::status(bool responsePending) const {
  unsigned byte = 0;
  if (!errors_.empty()) byte |= stb::errorQueue;
  if (responsePending) byte |= stb::messageAvailable;
  if (events_ & eventEnable_) byte |= stb::eventSummary;
  if (byte & serviceEnable_) byte |= stb::masterSummary;
  return static_cast<uint8_t>(byte);
}

double ScpiInstrument::voltage() const {
  const std::lock_guard lock(mutex_);
  return voltage_;
}

std::string ScpiInstrument::blockPattern(size_t size) {
  std::string pattern(size, '\0');
  for (size_t i = 0; i < size; ++i) pattern[i] = static_cast<char>(i & 0xFF);
  return pattern;
}

std::string ScpiInstrument::identification(std::string_view) {
  return identity_.maker + ',' + identity_.model + ',' + identity_.serial + ',' + identity_.version;
}

std::string ScpiInstrument::reset(std::string_view) {
  voltage_ = 0.0;
  return {};
}

std::string ScpiInstrument::clearStatus(std::string_view) {
  events_ = 0;
  errors_.clear();
  return {};
}

std::string ScpiInstrument::readEvents(std::string_view) {
  return std::to_string(std::exchange(events_, uint8_t{0}));
}

void ScpiInstrument::setRegister(uint8_t& target, std::string_view argument) {
  const Number number = parseNumber(argument);
  const double rounded = std::round(number.value);
  if (number.error) return raise(number.error);
  if (rounded < 0 || rounded > 255) return raise(-222);
  target = static_cast<uint8_t>(rounded);
}

std::string ScpiInstrument::setEventEnable(std::string_view argument) {
  setRegister(eventEnable_, argument);
  return {};
}

std::string ScpiInstrument::eventEnable(std::string_view) {
  return std::to_string(eventEnable_);
}

std::string ScpiInstrument::setServiceEnable(std::string_view argument) {
  setRegister(serviceEnable_, argument);
  // Bit 6 is the summary itself and can't be enabled.
  serviceEnable_ = static_cast<uint8_t>(serviceEnable_ & ~stb::masterSummary);
  return {};
}

std::string ScpiInstrument::serviceEnable(std::string_view) {
  return std::to_string(serviceEnable_);
}

std::string ScpiInstrument::readStatus(std::string_view) {
  return std::to_string(status(responsePending_));
}

std::string ScpiInstrument::operationComplete(std::string_view) {
  events_ = static_cast<uint8_t>(events_ | esr::operationComplete);
  return {};
}

std::string ScpiInstrument::one(std::string_view) {
  return "1";
}

std::string ScpiInstrument::zero(std::string_view) {
  return "0";
}

std::string ScpiInstrument::nothing(std::string_view) {
  return {};
}

std::string ScpiInstrument::nextError(std::string_view) {
  int code = 0;
  if (!errors_.empty()) {
    code = errors_.front();
    errors_.pop_front();
  }
  const auto* row = std::find_if(std::begin(errorTexts), std::end(errorTexts),
                                 [code](const auto& candidate) { return candidate.first == code; });
  const char* text = row == std::end(errorTexts) ? "Device-specific error" : row->second;
  return std::to_string(code) + ",\"" + text + '"';
}

std::string ScpiInstrument::setVoltage(std::string_view argument) {
  const Number number = parseNumber(argument);
  if (number.error) {
    raise(number.error);
  } else if (number.value < minimumVoltage || number.value > maximumVoltage) {
    raise(-222);
  } else {
    voltage_ = std::round(number.value * 1000) / 1000;
  }
  return {};
}

std::string ScpiInstrument::voltageSetting(std::string_view) {
  return format("%.3f", voltage_);
}

// A gain error and an offset, the same at every reading.
std::string ScpiInstrument::measureVoltage(std::string_view) {
  return format("%+.6E", voltage_ * 0.9995 + 0.0002);
}

std::string ScpiInstrument::block(std::string_view argument) {
  const Number number = parseNumber(argument);
  if (number.error || number.value < 0 || number.value > static_cast<double>(maximumBlock)) {
    raise(number.error ? number.error : -222);
    return {};
  }
  const auto size = static_cast<size_t>(std::round(number.value));
  const std::string digits = std::to_string(size);
  return '#' + std::to_string(digits.size()) + digits + blockPattern(size);
}

void ScpiSession::feed(std::string_view bytes, bool end) {
  for (bool terminated = true; terminated;) {
    terminated = bytes.find('\n') != std::string_view::npos;
    const std::string_view part = cut(bytes, '\n');
    overrun_ = overrun_ || part.size() > maximumMessage - input_.size();
    if (!overrun_) input_ += part;
    if (terminated || end) execute(std::exchange(input_, {}));
  }
}

void ScpiSession::execute(std::string_view message) {
  if (std::exchange(overrun_, false)) return instrument_.reportError(-363);
  if (trim(message).empty()) return;
  if (link_ == Link::message && available()) {
    drop(available());
    instrument_.reportError(-410);
  }
  output_ += instrument_.execute(message, available() != 0);
}

std::string ScpiSession::take(size_t most) {
  std::string bytes(waiting().substr(0, most));
  drop(bytes.size());
  return bytes;
}

void ScpiSession::drop(size_t count) {
  taken_ += std::min(count, available());
  if (taken_ == output_.size()) {
    output_.clear();
    taken_ = 0;
  }
}

void ScpiSession::clear() {
  input_.clear();
  output_.clear();
  overrun_ = false;
  taken_ = 0;
}

}  // namespace qvsim
