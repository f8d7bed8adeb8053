/**
 * @file QVvisa.hpp
 * @brief The C++ face of QVvisa: the operations of QVvisa.h as objects, for C++17 and later.
 *
 * Header only; a program that includes it links the same library as a C program.
 *
 *     qvvisa::ResourceManager manager;
 *     for (const std::string& name : manager.find("USB?*INSTR")) {
 *       qvvisa::Session instrument = manager.open(name);
 *       std::cout << name << ": " << instrument.query("*IDN?") << '\n';
 *     }
 *
 * Errors: every call that can fail has two forms, as in std::filesystem. One throws std::system_error, whose what()
 * names the action and the resource; the other reports through a std::error_code, which it clears on success. The
 * code's category is qvvisa::category() and its value the operation's ViStatus; std::errc conditions work where they
 * fit, such as `error == std::errc::timed_out` on every bus. Either form may throw std::bad_alloc.
 *
 * Threads: as in QVvisa.h. An object isn't meant for two threads at once; different objects don't disturb each other.
 */
#ifndef QVVISA_HPP
#define QVVISA_HPP

#include "QVvisa.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <utility>
#include <vector>

/// The C++ face of QVvisa.
namespace qvvisa {

/// What a transfer over TCP/IP answers when the connection failed. The library uses it for the time limit too; a
/// Session reports that as VI_ERROR_TMO.
inline constexpr ViStatus tcpFailure = -1;

/// Internals of the header.
namespace detail {

class Category final : public std::error_category {
public:
  const char* name() const noexcept override { return "VISA"; }

  std::string message(int status) const override {
    if (status == tcpFailure) return "The TCP connection failed.";
    ViChar text[MAX_STATUS_DESCRIPTION] = "";
    QV_viStatusDesc(VI_NULL, status, text);
    return text;
  }

  std::error_condition default_error_condition(int status) const noexcept override {
    switch (status) {
    case VI_ERROR_TMO:
      return std::errc::timed_out;
    case VI_ERROR_ALLOC:
      return std::errc::not_enough_memory;
    case VI_ERROR_RSRC_NFOUND:
    case VI_SUCCESS_DEV_NPRESENT:
      return std::errc::no_such_device;
    case VI_ERROR_INV_RSRC_NAME:
    case VI_ERROR_INV_PARAMETER:
    case VI_ERROR_NSUP_ATTR_STATE:
      return std::errc::invalid_argument;
    case VI_ERROR_INV_OBJECT:
      return std::errc::bad_file_descriptor;
    case VI_ERROR_INV_LENGTH:
      return std::errc::message_size;
    case VI_ERROR_NSUP_OPER:
    case VI_ERROR_NSUP_ATTR:
      return std::errc::operation_not_supported;
    case VI_ERROR_CONN_LOST:
      return std::errc::connection_reset;
    case VI_ERROR_IO:
    case tcpFailure:
      return std::errc::io_error;
    default:
      return {status, *this};
    }
  }
};

}  // namespace detail

/// The category of the library's statuses; its messages are those of QV_viStatusDesc.
inline const std::error_category& category() noexcept {
  static const detail::Category instance;
  return instance;
}

/// A status as an error code, which is false for VI_SUCCESS and for nothing else.
inline std::error_code errorCode(ViStatus status) noexcept {
  return {status, category()};
}

/**
 * @brief An attribute and the type of its value.
 *
 * The attributes that the library knows stand in the namespace attribute; others can be made of a code and a type.
 * @tparam T  the attribute's VISA type, or std::string
 */
template <typename T>
struct Attribute {
  static_assert(std::is_same_v<T, std::string> || (std::is_arithmetic_v<T> && sizeof(T) <= sizeof(ViUInt32)));
  ViAttr code;  ///< the number, such as VI_ATTR_TMO_VALUE
};

/// The attributes of sessions under their standard names, VI_ATTR_TMO_VALUE being tmoValue.
namespace attribute {

/// @name Of every session
/// @{
inline constexpr Attribute<std::string> rsrcClass{VI_ATTR_RSRC_CLASS};
inline constexpr Attribute<ViUInt32> rsrcImplVersion{VI_ATTR_RSRC_IMPL_VERSION};
inline constexpr Attribute<ViUInt32> rsrcSpecVersion{VI_ATTR_RSRC_SPEC_VERSION};
inline constexpr Attribute<std::string> rsrcManfName{VI_ATTR_RSRC_MANF_NAME};
inline constexpr Attribute<ViUInt16> rsrcManfId{VI_ATTR_RSRC_MANF_ID};
inline constexpr Attribute<ViUInt32> rsrcLockState{VI_ATTR_RSRC_LOCK_STATE};
inline constexpr Attribute<ViUInt32> rmSession{VI_ATTR_RM_SESSION};
inline constexpr Attribute<ViUInt32> userData{VI_ATTR_USER_DATA};
inline constexpr Attribute<ViUInt32> maxQueueLength{VI_ATTR_MAX_QUEUE_LENGTH};
inline constexpr Attribute<ViUInt16> intfType{VI_ATTR_INTF_TYPE};
inline constexpr Attribute<ViUInt16> intfNum{VI_ATTR_INTF_NUM};
inline constexpr Attribute<std::string> intfInstName{VI_ATTR_INTF_INST_NAME};
inline constexpr Attribute<ViInt16> trigId{VI_ATTR_TRIG_ID};
inline constexpr Attribute<ViUInt32> tmoValue{VI_ATTR_TMO_VALUE};
inline constexpr Attribute<ViUInt16> ioProt{VI_ATTR_IO_PROT};
inline constexpr Attribute<ViUInt8> termchar{VI_ATTR_TERMCHAR};
inline constexpr Attribute<ViBoolean> termcharEn{VI_ATTR_TERMCHAR_EN};
inline constexpr Attribute<ViBoolean> sendEndEn{VI_ATTR_SEND_END_EN};
inline constexpr Attribute<ViBoolean> suppressEndEn{VI_ATTR_SUPPRESS_END_EN};
inline constexpr Attribute<ViBoolean> fileAppendEn{VI_ATTR_FILE_APPEND_EN};
inline constexpr Attribute<ViUInt16> rdBufOperMode{VI_ATTR_RD_BUF_OPER_MODE};
inline constexpr Attribute<ViUInt16> wrBufOperMode{VI_ATTR_WR_BUF_OPER_MODE};
inline constexpr Attribute<std::string> qvBuildDateTime{QV_ATTR_BUILD_DATE_TIME};
/// @}

/// @name Of TCP/IP sessions
/// @{
inline constexpr Attribute<std::string> tcpipAddr{VI_ATTR_TCPIP_ADDR};
inline constexpr Attribute<std::string> tcpipHostname{VI_ATTR_TCPIP_HOSTNAME};
inline constexpr Attribute<ViUInt16> tcpipPort{VI_ATTR_TCPIP_PORT};
inline constexpr Attribute<ViBoolean> tcpipNodelay{VI_ATTR_TCPIP_NODELAY};
inline constexpr Attribute<ViBoolean> tcpipKeepalive{VI_ATTR_TCPIP_KEEPALIVE};
/// @}

/// @name Of USB sessions
/// @{
inline constexpr Attribute<std::string> manfName{VI_ATTR_MANF_NAME};
inline constexpr Attribute<std::string> modelName{VI_ATTR_MODEL_NAME};
inline constexpr Attribute<ViUInt16> manfId{VI_ATTR_MANF_ID};
inline constexpr Attribute<ViUInt16> modelCode{VI_ATTR_MODEL_CODE};
inline constexpr Attribute<std::string> usbSerialNum{VI_ATTR_USB_SERIAL_NUM};
inline constexpr Attribute<ViInt16> usbIntfcNum{VI_ATTR_USB_INTFC_NUM};
inline constexpr Attribute<ViInt16> usbNumIntfcs{VI_ATTR_USB_NUM_INTFCS};
inline constexpr Attribute<ViInt16> usbClass{VI_ATTR_USB_CLASS};
inline constexpr Attribute<ViInt16> usbSubclass{VI_ATTR_USB_SUBCLASS};
inline constexpr Attribute<ViInt16> usbProtocol{VI_ATTR_USB_PROTOCOL};
inline constexpr Attribute<ViInt16> usbAltSetting{VI_ATTR_USB_ALT_SETTING};
inline constexpr Attribute<ViInt16> usbNumPipes{VI_ATTR_USB_NUM_PIPES};
inline constexpr Attribute<ViInt16> usbCtrlPipe{VI_ATTR_USB_CTRL_PIPE};
inline constexpr Attribute<ViInt16> usbBulkOutPipe{VI_ATTR_USB_BULK_OUT_PIPE};
inline constexpr Attribute<ViInt16> usbBulkInPipe{VI_ATTR_USB_BULK_IN_PIPE};
inline constexpr Attribute<ViInt16> usbIntrInPipe{VI_ATTR_USB_INTR_IN_PIPE};
inline constexpr Attribute<ViInt16> qvUsbIntrOutPipe{QV_ATTR_USB_INTR_OUT_PIPE};
inline constexpr Attribute<ViUInt16> usbEndIn{VI_ATTR_USB_END_IN};
inline constexpr Attribute<std::string> qvDeviceName{QV_ATTR_DEVICE_NAME};
inline constexpr Attribute<std::string> qvInterfaceName{QV_ATTR_INTERFACE_NAME};
inline constexpr Attribute<ViInt32> qvClass{QV_ATTR_CLASS};
inline constexpr Attribute<std::string> qvClassName{QV_ATTR_CLASS_NAME};
/// @}

/// @name Of serial sessions
/// @{
inline constexpr Attribute<ViUInt32> asrlBaud{VI_ATTR_ASRL_BAUD};
inline constexpr Attribute<ViUInt16> asrlDataBits{VI_ATTR_ASRL_DATA_BITS};
inline constexpr Attribute<ViUInt16> asrlParity{VI_ATTR_ASRL_PARITY};
inline constexpr Attribute<ViUInt16> asrlStopBits{VI_ATTR_ASRL_STOP_BITS};
inline constexpr Attribute<ViUInt16> asrlFlowCntrl{VI_ATTR_ASRL_FLOW_CNTRL};
inline constexpr Attribute<ViUInt16> asrlEndIn{VI_ATTR_ASRL_END_IN};
inline constexpr Attribute<ViUInt16> asrlEndOut{VI_ATTR_ASRL_END_OUT};
inline constexpr Attribute<ViUInt32> asrlAvailNum{VI_ATTR_ASRL_AVAIL_NUM};
inline constexpr Attribute<ViInt16> asrlCtsState{VI_ATTR_ASRL_CTS_STATE};
inline constexpr Attribute<ViInt16> asrlDcdState{VI_ATTR_ASRL_DCD_STATE};
inline constexpr Attribute<ViInt16> asrlDsrState{VI_ATTR_ASRL_DSR_STATE};
inline constexpr Attribute<ViInt16> asrlRiState{VI_ATTR_ASRL_RI_STATE};
inline constexpr Attribute<ViInt16> asrlDtrState{VI_ATTR_ASRL_DTR_STATE};
inline constexpr Attribute<ViInt16> asrlRtsState{VI_ATTR_ASRL_RTS_STATE};
inline constexpr Attribute<ViUInt8> asrlReplaceChar{VI_ATTR_ASRL_REPLACE_CHAR};
inline constexpr Attribute<ViUInt8> asrlXonChar{VI_ATTR_ASRL_XON_CHAR};
inline constexpr Attribute<ViUInt8> asrlXoffChar{VI_ATTR_ASRL_XOFF_CHAR};
inline constexpr Attribute<ViBoolean> asrlDiscardNull{VI_ATTR_ASRL_DISCARD_NULL};
inline constexpr Attribute<ViInt16> asrlBreakState{VI_ATTR_ASRL_BREAK_STATE};
inline constexpr Attribute<ViInt16> asrlBreakLen{VI_ATTR_ASRL_BREAK_LEN};
inline constexpr Attribute<ViBoolean> asrlAllowTransmit{VI_ATTR_ASRL_ALLOW_TRANSMIT};
inline constexpr Attribute<ViInt16> asrlWireMode{VI_ATTR_ASRL_WIRE_MODE};
/// @}

}  // namespace attribute

namespace detail {

/// Runs the form of a call that takes an error code, and throws what that reports.
template <typename Call, typename Result = std::invoke_result_t<Call, std::error_code&>>
Result orThrow(const std::string& action, Call call) {
  std::error_code error;
  if constexpr (std::is_void_v<Result>) {
    call(error);
    if (error) throw std::system_error(error, action);
  } else {
    Result result = call(error);
    if (error) throw std::system_error(error, action);
    return result;
  }
}

inline bool isDigit(char c) noexcept {
  return c >= '0' && c <= '9';
}

/// Where the definite-length block ends that `text` begins with: 0 if it doesn't begin with one, npos if it isn't
/// whole.
inline std::size_t endOfBlock(std::string_view text) noexcept {
  if (text.size() < 2 || text[0] != '#' || text[1] < '1' || text[1] > '9') return 0;
  const std::size_t start = 2 + static_cast<std::size_t>(text[1] - '0');
  if (text.size() < start) return std::string_view::npos;
  std::size_t length = 0;
  for (const char digit : text.substr(2, start - 2)) {
    if (!isDigit(digit)) return 0;
    length = length * 10 + static_cast<std::size_t>(digit - '0');
  }
  return text.size() - start < length ? std::string_view::npos : start + length;
}

inline bool endsWith(std::string_view text, std::string_view end) noexcept {
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

/// Whether the text ends in the termination, and not with bytes of a block that look like one. A block begins the text
/// or follows the semicolon behind another answer.
inline bool isWhole(std::string_view text, std::string_view termination) noexcept {
  while (endsWith(text, termination)) {
    const std::size_t end = endOfBlock(text);
    if (end == std::string_view::npos) return false;
    const std::size_t separator = text.find(";#", end);
    if (separator == std::string_view::npos) return endsWith(text.substr(end), termination);
    text.remove_prefix(separator + 1);
  }
  return false;
}

}  // namespace detail

/**
 * @brief An open instrument, closed at the end of the object's life. Made by ResourceManager::open.
 *
 * A session that was moved from, closed or default-constructed is no session: every call on it fails.
 */
class Session {
public:
  /// No session.
  Session() noexcept = default;
  Session(Session&& other) noexcept
      : handle_(std::exchange(other.handle_, VI_NULL)), interface_(other.interface_), name_(std::move(other.name_)),
        termination_(std::move(other.termination_)) {}
  /// Closes the session that the object held.
  Session& operator=(Session&& other) noexcept {
    Session taken(std::move(other));
    std::swap(handle_, taken.handle_);
    std::swap(interface_, taken.interface_);
    name_.swap(taken.name_);
    termination_.swap(taken.termination_);
    return *this;
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session() {
    if (handle_ != VI_NULL) QV_viClose(handle_);
  }

  /// Whether there is a session.
  explicit operator bool() const noexcept { return handle_ != VI_NULL; }
  /// The handle for the operations of QVvisa.h; the object keeps it.
  ViSession handle() const noexcept { return handle_; }
  /// The resource name that was opened.
  const std::string& name() const noexcept { return name_; }

  /// What write() puts behind a message and where a response ends on serial ports and TCP/IP: a line feed, unless
  /// another was set.
  const std::string& termination() const noexcept { return termination_; }
  /// Sets the termination. With an empty one a response is what one read of the library brings.
  void setTermination(std::string termination) { termination_ = std::move(termination); }

  /// Closes the session before the end of the object's life.
  void close() {
    act("closing", [&](std::error_code& error) { close(error); });
  }
  /// @copydoc close()
  void close(std::error_code& error) noexcept {
    error = errorCode(handle_ == VI_NULL ? VI_ERROR_INV_OBJECT : QV_viClose(std::exchange(handle_, VI_NULL)));
  }

  /**
   * @brief Sends a message with the termination behind it, whole.
   *
   * Over USBTMC it is one message of at most 4084 bytes. A port that took less within the time limit is VI_ERROR_TMO.
   */
  void write(std::string_view message) {
    act("writing to", [&](std::error_code& error) { write(message, error); });
  }
  /// @copydoc write(std::string_view)
  void write(std::string_view message, std::error_code& error) { send(std::string(message) + termination_, error); }

  /// Sends these bytes and nothing else, otherwise as write().
  void writeBytes(std::string_view bytes) {
    act("writing to", [&](std::error_code& error) { writeBytes(bytes, error); });
  }
  /// @copydoc writeBytes(std::string_view)
  void writeBytes(std::string_view bytes, std::error_code& error) { send(std::string(bytes), error); }

  /**
   * @brief Reads one whole response.
   *
   * Over USB that is one message. On serial ports and TCP/IP it goes to the termination; one that lies within a
   * definite-length block (`#` and its length) is data. A connection that the instrument closes before is
   * VI_ERROR_CONN_LOST, a response that isn't whole within the time limit VI_ERROR_TMO.
   *
   * @return the response without the termination
   */
  std::string read() {
    return act("reading from", [&](std::error_code& error) { return read(error); });
  }
  /// As read(). @return on failure, the part that came
  std::string read(std::error_code& error) {
    // A serial read tells nothing of what it took before its time limit, hence byte by byte.
    const std::size_t step = interface_ == VI_INTF_ASRL && !termination_.empty() ? 1 : kReadSize;
    std::string response;
    do {
      const std::size_t before = response.size();
      response.resize(before + step);
      const std::size_t count = readBytes(&response[before], step, error);
      response.resize(before + count);
      if (!error && count == 0 && interface_ == VI_INTF_TCPIP) error = errorCode(VI_ERROR_CONN_LOST);
      if (error) return response;
    } while (interface_ != VI_INTF_USB && !detail::isWhole(response, termination_));
    if (detail::endsWith(response, termination_)) response.resize(response.size() - termination_.size());
    return response;
  }

  /**
   * @brief Reads once, as QV_viRead does.
   * @param[out] buffer  room for the bytes
   * @param[in]  size    its size in bytes
   * @return the number of bytes that came; over TCP/IP 0 once the instrument has closed the connection
   */
  std::size_t readBytes(void* buffer, std::size_t size) {
    return act("reading from", [&](std::error_code& error) { return readBytes(buffer, size, error); });
  }
  /** @copydoc readBytes(void*, std::size_t)
   *  @param[out] error  what went wrong */
  std::size_t readBytes(void* buffer, std::size_t size, std::error_code& error) noexcept {
    const auto start = std::chrono::steady_clock::now();
    ViUInt32 count = 0;
    const auto limited = static_cast<ViUInt32>(std::min(size, kLargestTransfer));
    ViStatus status = QV_viRead(handle_, static_cast<ViPBuf>(buffer), limited, &count);
    if (status == tcpFailure && hasTimeLimitPassed(start)) status = VI_ERROR_TMO;
    error = errorCode(status);
    return count;
  }

  /// Sends a message and reads the response: write(), then read().
  std::string query(std::string_view message) {
    return act("querying", [&](std::error_code& error) { return query(message, error); });
  }
  /// @copydoc query(std::string_view)
  std::string query(std::string_view message, std::error_code& error) {
    write(message, error);
    return error ? std::string() : read(error);
  }

  /// The value of an attribute, such as `session.get(qvvisa::attribute::tcpipPort)`.
  template <typename T>
  T get(Attribute<T> attribute) const {
    return act("asking for an attribute of", [&](std::error_code& error) { return get(attribute, error); });
  }
  /// As get(). @return on failure, a value of zero
  template <typename T>
  T get(Attribute<T> attribute, std::error_code& error) const {
    // Large enough for every attribute, so that a wrong type can't let the library write too far.
    alignas(ViUInt32) ViChar value[MAX_BUF_SIZE_ATTR] = "";
    error = errorCode(QV_viGetAttribute(handle_, attribute.code, value));
    if (error) return T();
    if constexpr (std::is_same_v<T, std::string>) {
      return value;
    } else {
      T number;
      std::memcpy(&number, value, sizeof number);
      return number;
    }
  }

  /// Sets an attribute, such as `session.set(qvvisa::attribute::asrlBaud, 9600)`.
  template <typename T>
  void set(Attribute<T> attribute, std::common_type_t<T> value) {
    act("setting an attribute of", [&](std::error_code& error) { set(attribute, value, error); });
  }
  /// @copydoc set(Attribute<T>, std::common_type_t<T>)
  template <typename T>
  void set(Attribute<T> attribute, std::common_type_t<T> value, std::error_code& error) noexcept {
    static_assert(!std::is_same_v<T, std::string>, "a text attribute can't be set");
    error = errorCode(QV_viSetAttribute(handle_, attribute.code, static_cast<ViAttrState>(value)));
  }

  /// Sets how long a read or a write may take. 0 is no limit on TCP/IP and USB, and no waiting on serial ports.
  void setTimeLimit(std::chrono::milliseconds limit) {
    act("setting the time limit of", [&](std::error_code& error) { setTimeLimit(limit, error); });
  }
  /// @copydoc setTimeLimit(std::chrono::milliseconds)
  void setTimeLimit(std::chrono::milliseconds limit, std::error_code& error) noexcept {
    set(attribute::tmoValue, static_cast<ViUInt32>(limit.count()), error);
  }

  /// The status byte of a USBTMC instrument.
  ViUInt8 readStatusByte() {
    return act("asking for the status byte of", [&](std::error_code& error) { return readStatusByte(error); });
  }
  /// @copydoc readStatusByte()
  ViUInt8 readStatusByte(std::error_code& error) noexcept {
    ViUInt16 status = 0;
    error = errorCode(QV_viReadSTB(handle_, &status));
    return static_cast<ViUInt8>(status);
  }

  /// Clears a USBTMC instrument: its input, its output and the message in progress.
  void clear() {
    act("clearing", [&](std::error_code& error) { clear(error); });
  }
  /// @copydoc clear()
  void clear(std::error_code& error) noexcept { error = errorCode(QV_viClear(handle_)); }

  /// Controls remote enable of a USB instrument. @param mode  VI_GPIB_REN_DEASSERT to VI_GPIB_REN_ADDRESS_GTL
  void controlRemote(ViUInt16 mode) {
    act("controlling remote enable of", [&](std::error_code& error) { controlRemote(mode, error); });
  }
  /** @copydoc controlRemote(ViUInt16)
   *  @param[out] error  what went wrong */
  void controlRemote(ViUInt16 mode, std::error_code& error) noexcept {
    error = errorCode(QV_viGpibControlREN(handle_, mode));
  }

private:
  friend class ResourceManager;

  /// Whole USB packets, and more than a USBTMC response.
  static constexpr std::size_t kReadSize = 16384;
  static constexpr std::size_t kLargestTransfer = 0x40000000;

  template <typename Call>
  std::invoke_result_t<Call, std::error_code&> act(const char* action, Call call) const {
    return detail::orThrow(std::string(action) + ' ' + name_, call);
  }

  bool hasTimeLimitPassed(std::chrono::steady_clock::time_point start) const noexcept {
    ViUInt32 limit = 0;
    return QV_viGetAttribute(handle_, VI_ATTR_TMO_VALUE, &limit) == VI_SUCCESS && limit != 0 &&
           std::chrono::steady_clock::now() - start >= std::chrono::milliseconds(limit);
  }

  /// The number of bytes that go out for these.
  std::size_t sizeOnLine(const std::string& bytes) const noexcept {
    ViBoolean discards = VI_FALSE;
    if (interface_ == VI_INTF_ASRL) QV_viGetAttribute(handle_, VI_ATTR_ASRL_DISCARD_NULL, &discards);
    const auto nulls = discards ? std::count(bytes.begin(), bytes.end(), '\0') : 0;
    return bytes.size() - static_cast<std::size_t>(nulls);
  }

  /// Takes a copy, because the library may change the bytes.
  void send(std::string bytes, std::error_code& error) {
    const std::size_t size = sizeOnLine(bytes);
    std::size_t sent = 0;
    do {
      ViUInt32 count = 0;
      const auto left = static_cast<ViUInt32>(std::min(bytes.size() - sent, kLargestTransfer));
      error = errorCode(QV_viWrite(handle_, reinterpret_cast<ViBuf>(&bytes[sent]), left, &count));
      sent += count;
      // Only a stream of bytes goes on where it stopped.
      if (!error && sent < size && (count == 0 || interface_ != VI_INTF_TCPIP)) error = errorCode(VI_ERROR_TMO);
    } while (!error && sent < size);
  }

  ViSession handle_ = VI_NULL;
  ViUInt16 interface_ = 0;
  std::string name_;
  std::string termination_ = "\n";
};

/**
 * @brief The library, started: finds and opens instruments.
 *
 * The close of the last session takes the library down; an object of this class starts it again at the next call that
 * needs it. There may be several at once, and sessions may outlive them.
 */
class ResourceManager {
public:
  /// The time limit of a new session where none is given.
  static constexpr std::chrono::milliseconds defaultTimeLimit{2000};

  /// Starts the library.
  ResourceManager() {
    detail::orThrow("starting the library", [&](std::error_code& error) { start(error); });
  }
  /// Starts the library. On failure the object can't do anything but be destroyed or assigned to.
  explicit ResourceManager(std::error_code& error) noexcept { start(error); }
  ResourceManager(ResourceManager&& other) noexcept : handle_(std::exchange(other.handle_, VI_NULL)) {}
  /// Takes over what the other object stands for.
  ResourceManager& operator=(ResourceManager&& other) noexcept {
    ResourceManager taken(std::move(other));
    std::swap(handle_, taken.handle_);
    return *this;
  }
  ResourceManager(const ResourceManager&) = delete;
  ResourceManager& operator=(const ResourceManager&) = delete;
  /// Takes the library down, if no session is open.
  ~ResourceManager() {
    if (handle_ != VI_NULL) QV_viClose(handle_);
  }

  /**
   * @brief The names of the attached USB interfaces and serial ports that match a search expression.
   * @param expression  as QV_viFindRsrc takes it; `?*` is everything
   * @return the names, USB first; none if nothing matches, which is no error
   */
  std::vector<std::string> find(std::string_view expression = "?*") {
    return detail::orThrow("searching for " + std::string(expression),
                           [&](std::error_code& error) { return find(expression, error); });
  }
  /** @copydoc find(std::string_view)
   *  @param[out] error  what went wrong */
  std::vector<std::string> find(std::string_view expression, std::error_code& error) {
    std::string text(expression);
    ViChar name[VI_FIND_BUFLEN] = "";
    List list;
    ViStatus status =
        run([&](ViSession manager) { return QV_viFindRsrc(manager, text.data(), &list.handle, nullptr, name); });
    std::vector<std::string> names;
    for (; status == VI_SUCCESS; status = QV_viFindNext(list.handle, name)) names.emplace_back(name);
    error = errorCode(status == VI_ERROR_RSRC_NFOUND ? VI_SUCCESS : status);
    return names;
  }

  /**
   * @brief Opens an instrument.
   * @param name       the resource name, as QV_viOpen takes it
   * @param timeLimit  how long a read or a write may take; can be changed by Session::setTimeLimit
   */
  Session open(std::string_view name, std::chrono::milliseconds timeLimit = defaultTimeLimit) {
    return detail::orThrow("opening " + std::string(name),
                           [&](std::error_code& error) { return open(name, timeLimit, error); });
  }
  /// As open(). @return on failure, no session
  Session open(std::string_view name, std::error_code& error) { return open(name, defaultTimeLimit, error); }
  /// As open(). @return on failure, no session
  Session open(std::string_view name, std::chrono::milliseconds timeLimit, std::error_code& error) {
    Session session;
    session.name_ = name;
    const ViStatus status = run(
        [&](ViSession manager) { return QV_viOpen(manager, session.name_.data(), VI_NO_LOCK, 0, &session.handle_); });
    error = errorCode(status);
    if (!error) session.interface_ = session.get(attribute::intfType, error);
    if (!error) session.setTimeLimit(timeLimit, error);
    return error ? Session() : std::move(session);
  }

private:
  /// Closes a find list at the end of a block.
  struct List {
    List() noexcept = default;
    List(const List&) = delete;
    List& operator=(const List&) = delete;
    ~List() {
      if (handle != VI_NULL) QV_viClose(handle);
    }
    ViFindList handle = VI_NULL;
  };

  void start(std::error_code& error) noexcept { error = errorCode(QV_viOpenDefaultRM(&handle_)); }

  /// Runs an operation on the library, started again where the last close took it down, even if that was another
  /// thread's just before the operation.
  template <typename Operation>
  ViStatus run(Operation operation) {
    if (handle_ == VI_NULL) return VI_ERROR_INV_OBJECT;
    for (;;) {
      ViSession manager = VI_NULL;
      const ViStatus started = QV_viOpenDefaultRM(&manager);
      if (started != VI_SUCCESS) return started;
      const ViStatus status = operation(manager);
      if (status != VI_ERROR_SYSTEM_ERROR || isUp()) return status;
    }
  }

  /// While the library is up it says of the handle 0 that there is no such object.
  static bool isUp() noexcept { return QV_viSetAttribute(VI_NULL, VI_ATTR_USER_DATA, 0) != VI_ERROR_SYSTEM_ERROR; }

  ViSession handle_ = VI_NULL;
};

}  // namespace qvvisa

#endif
