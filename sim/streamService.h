/// @file
/// Serves an instrument on byte streams from one thread of its own: what TCP connections and a pty have in common.
#pragma once

#include <list>
#include <mutex>
#include <thread>

#include "scpiInstrument.h"

namespace qvsim {

/// A file descriptor that is closed with its owner.
class Descriptor {
public:
  explicit Descriptor(int number = -1) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept;
  Descriptor& operator=(Descriptor&& other) noexcept;
  ~Descriptor();
  int number() const { return number_; }
  /// Throws std::system_error with @p what if the system call that gave the descriptor failed.
  static Descriptor checked(int number, const char* what);

private:
  int number_;
};

class StreamService {
public:
  StreamService(const StreamService&) = delete;
  StreamService& operator=(const StreamService&) = delete;

  /// Connections that are open now.
  size_t connections() const;

protected:
  explicit StreamService(ScpiInstrument& instrument);
  ~StreamService();

  enum class Lifetime { untilHangUp, permanent };
  void add(Descriptor stream, Lifetime lifetime);
  /// Starts serving. @p listener, if there is one, is a listening socket whose connections are served too.
  void start(Descriptor listener);
  /// Ends the thread; before the derived class's own descriptors go.
  void stop();

private:
  struct Connection {
    Descriptor stream;
    Lifetime lifetime;
    ScpiSession session;
    bool inputEnded = false;
  };

  void run();
  void wait();
  void serve();
  void accept();
  bool receive(Connection& connection);
  bool send(Connection& connection);
  bool finished(const Connection& connection) const;

  ScpiInstrument& instrument_;
  mutable std::mutex mutex_;
  std::list<Connection> connections_;
  bool stopping_ = false;
  Descriptor listener_;
  Descriptor waker_;
  std::thread thread_;
};

}  // namespace qvsim
