#include "streamService.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>
#include <vector>

namespace qvsim {
namespace {

// A client that asks and doesn't read isn't read from either once this much waits for it.
constexpr size_t outputLimit = size_t{1} << 20;

bool wouldBlock() {
  return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
}

}  // namespace

Descriptor::Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  std::swap(number_, other.number_);
  return *this;
}

Descriptor::~Descriptor() {
  if (number_ >= 0) ::close(number_);
}

Descriptor Descriptor::checked(int number, const char* what) {
  if (number < 0) throw std::system_error(errno, std::generic_category(), what);
  return Descriptor(number);
}

StreamService::StreamService(ScpiInstrument& instrument)
    : instrument_(instrument), waker_(Descriptor::checked(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd")) {}

StreamService::~StreamService() {
  stop();
}

void StreamService::add(Descriptor stream, Lifetime lifetime) {
  const std::lock_guard lock(mutex_);
  connections_.push_back({std::move(stream), lifetime, ScpiSession(instrument_, ScpiSession::Link::stream)});
}

void StreamService::start(Descriptor listener) {
  listener_ = std::move(listener);
  thread_ = std::thread([this] { run(); });
}

void StreamService::stop() {
  if (!thread_.joinable()) return;
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  ::eventfd_write(waker_.number(), 1);
  thread_.join();
}

size_t StreamService::connections() const {
  const std::lock_guard lock(mutex_);
  return connections_.size();
}

void StreamService::run() {
  for (;;) {
    wait();
    const std::lock_guard lock(mutex_);
    if (stopping_) return;
    serve();
  }
}

void StreamService::wait() {
  std::vector<pollfd> watched;
  {
    const std::lock_guard lock(mutex_);
    watched.push_back({waker_.number(), POLLIN, 0});
    watched.push_back({listener_.number(), POLLIN, 0});
    for (const Connection& connection : connections_) {
      const size_t waiting = connection.session.available();
      const bool readable = !connection.inputEnded && waiting < outputLimit;
      const bool writable = waiting != 0;
      const auto events = static_cast<short>((readable ? POLLIN : 0) | (writable ? POLLOUT : 0));
      // A hang-up is reported whatever was asked for: a connection with nothing to do now is left out.
      watched.push_back({events ? connection.stream.number() : -1, events, 0});
    }
  }
  ::poll(watched.data(), watched.size(), -1);
}

void StreamService::serve() {
  eventfd_t count = 0;
  ::eventfd_read(waker_.number(), &count);
  accept();
  connections_.remove_if(
      [this](Connection& connection) { return !receive(connection) || !send(connection) || finished(connection); });
}

void StreamService::accept() {
  for (;;) {
    Descriptor stream(::accept4(listener_.number(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (stream.number() < 0) return;
    connections_.push_back(
        {std::move(stream), Lifetime::untilHangUp, ScpiSession(instrument_, ScpiSession::Link::stream)});
  }
}

// One read a round, so that a client that never stops sending can't keep the others waiting.
bool StreamService::receive(Connection& connection) {
  if (connection.inputEnded || connection.session.available() >= outputLimit) return true;
  std::array<char, 4096> bytes;
  const ssize_t count = ::read(connection.stream.number(), bytes.data(), bytes.size());
  if (count < 0) return wouldBlock() || connection.lifetime == Lifetime::permanent;
  connection.inputEnded = count == 0;
  connection.session.feed({bytes.data(), static_cast<size_t>(count)});
  return true;
}

bool StreamService::send(Connection& connection) {
  while (connection.session.available()) {
    const std::string_view waiting = connection.session.waiting();
    const bool socket = connection.lifetime == Lifetime::untilHangUp;
    const ssize_t count = socket ? ::send(connection.stream.number(), waiting.data(), waiting.size(), MSG_NOSIGNAL)
                                 : ::write(connection.stream.number(), waiting.data(), waiting.size());
    if (count < 0) return wouldBlock() || !socket;
    connection.session.drop(static_cast<size_t>(count));
  }
  return true;
}

// A client that has ended its side still gets the answers to what it asked.
bool StreamService::finished(const Connection& connection) const {
  return connection.inputEnded && connection.session.available() == 0;
}

}  // namespace qvsim
