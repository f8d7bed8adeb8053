/// TCP/IP sessions: what a transfer costs beside the bare socket calls, what many open sessions cost, and whether
/// sessions stay out of each other's way.
#include "QVvisa.h"
#include "ratio.h"

#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <malloc.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr size_t kQuerySize = 32;
constexpr int kMostSessions = 128;
constexpr size_t kMostBytesOfASession = 8192;

/// Ends the program unless the call gave what it should: a benchmark of a failing call means nothing.
void require(bool worked, const char* what) {
  if (worked) return;
  std::fprintf(stderr, "failed: %s\n", what);
  std::exit(1);
}

/// The instruments' side: a listener on a free port of the loopback interface.
class Listener {
public:
  Listener() : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
    address_.sin_family = AF_INET;
    address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address_;
    require(bind(socket_, reinterpret_cast<sockaddr*>(&address_), size) == 0, "bind");
    require(listen(socket_, kMostSessions + 1) == 0, "listen");
    require(getsockname(socket_, reinterpret_cast<sockaddr*>(&address_), &size) == 0, "getsockname");
  }
  ~Listener() { close(socket_); }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  int accept() const { return ::accept(socket_, nullptr, nullptr); }
  int connect() const {
    const int client = socket(AF_INET, SOCK_STREAM, 0);
    require(::connect(client, reinterpret_cast<const sockaddr*>(&address_), sizeof address_) == 0, "connect");
    return client;
  }
  std::string resource() const { return "TCPIP0::127.0.0.1::" + std::to_string(ntohs(address_.sin_port)) + "::SOCKET"; }

private:
  int socket_;
  sockaddr_in address_{};
};

/// Sends back what came, on a thread of its own and after a while, until its connection ends. Owns the connection.
class Instrument {
public:
  explicit Instrument(int connection, std::chrono::microseconds latency = {})
      : connection_(connection), thread_([connection, latency] { echo(connection, latency); }) {}
  ~Instrument() {
    shutdown(connection_, SHUT_RDWR);
    thread_.join();
    close(connection_);
  }
  Instrument(const Instrument&) = delete;
  Instrument& operator=(const Instrument&) = delete;

private:
  static void echo(int connection, std::chrono::microseconds latency) {
    char message[kQuerySize];
    ssize_t size = 0;
    while ((size = recv(connection, message, sizeof message, MSG_WAITALL)) > 0) {
      if (latency.count() > 0) std::this_thread::sleep_for(latency);
      if (send(connection, message, static_cast<size_t>(size), MSG_NOSIGNAL) != size) return;
    }
  }

  int connection_;
  std::thread thread_;
};

/// Opening a session prints which addresses it tries; keeps that off the results for the length of a block.
class Quiet {
public:
  Quiet() : output_(moveOutput(open("/dev/null", O_WRONLY))) {}
  ~Quiet() { close(moveOutput(output_)); }
  Quiet(const Quiet&) = delete;
  Quiet& operator=(const Quiet&) = delete;

private:
  /// Makes `target` the standard output and closes it. @return what was the standard output
  static int moveOutput(int target) {
    std::fflush(stdout);
    const int before = dup(STDOUT_FILENO);
    require(before >= 0 && dup2(target, STDOUT_FILENO) >= 0, "moving standard output");
    close(target);
    return before;
  }

  int output_;
};

/// An open session. The instrument's end of the connection is left to the caller.
class Session {
public:
  explicit Session(const Listener& listener) {
    ViSession manager = 0;
    require(QV_viOpenDefaultRM(&manager) == VI_SUCCESS, "QV_viOpenDefaultRM");
    std::string resource = listener.resource();
    const Quiet quiet;
    require(QV_viOpen(manager, resource.data(), VI_NO_LOCK, 0, &handle_) == VI_SUCCESS, "QV_viOpen");
    peer_ = listener.accept();
  }
  ~Session() { QV_viClose(handle_); }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  ViSession handle() const { return handle_; }
  int peer() const { return peer_; }
  void query(ViByte* message) const {
    ViUInt32 count = 0;
    require(QV_viWrite(handle_, message, kQuerySize, &count) == VI_SUCCESS && count == kQuerySize, "QV_viWrite");
    require(QV_viRead(handle_, message, kQuerySize, &count) == VI_SUCCESS && count == kQuerySize, "QV_viRead");
  }

private:
  ViSession handle_ = 0;
  int peer_ = -1;
};

/// Times short batches and reports the best one: on a shared machine a mean of microseconds is mostly a mean of what
/// else is going on.
template <typename Work>
void timeBestBatch(benchmark::State& state, Work work) {
  using Clock = std::chrono::steady_clock;
  constexpr int batches = 50;
  constexpr int callsOfABatch = 20;
  for (auto _ : state) {
    auto best = Clock::duration::max();
    for (int batch = 0; batch < batches; ++batch) {
      const auto start = Clock::now();
      for (int call = 0; call < callsOfABatch; ++call) work();
      best = std::min(best, Clock::now() - start);
    }
    state.SetIterationTime(std::chrono::duration<double>(best).count() / callsOfABatch);
  }
}

/// Keeps this thread, and those that it starts, on one processor for the length of a block. A query then takes a third
/// of the time and always the same, whereas waking up another processor varies by more than what is to be measured.
class OneProcessor {
public:
  OneProcessor() {
    require(sched_getaffinity(0, sizeof before_, &before_) == 0, "sched_getaffinity");
    int first = 0;
    while (!CPU_ISSET(first, &before_)) ++first;
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(first, &one);
    require(sched_setaffinity(0, sizeof one, &one) == 0, "sched_setaffinity");
  }
  ~OneProcessor() { sched_setaffinity(0, sizeof before_, &before_); }
  OneProcessor(const OneProcessor&) = delete;
  OneProcessor& operator=(const OneProcessor&) = delete;

private:
  cpu_set_t before_;
};

/// A query and its echo by socket calls alone, from and to an instrument that answers at once.
void bareQuery(benchmark::State& state) {
  const OneProcessor here;
  const Listener listener;
  const int client = listener.connect();
  const Instrument instrument(listener.accept());
  ViByte message[kQuerySize] = "*IDN?\n";
  timeBestBatch(state, [&] {
    require(send(client, message, kQuerySize, 0) == kQuerySize, "send");
    require(recv(client, message, kQuerySize, 0) == kQuerySize, "recv");
  });
  close(client);
}
BENCHMARK(bareQuery)->Iterations(40)->UseManualTime();

void sessionQuery(benchmark::State& state) {
  const OneProcessor here;
  const Listener listener;
  const Session session(listener);
  const Instrument instrument(session.peer());
  ViByte message[kQuerySize] = "*IDN?\n";
  timeBestBatch(state, [&] { session.query(message); });
}
BENCHMARK(sessionQuery)->Iterations(40)->UseManualTime();

/// Sessions with instruments that never say anything.
class IdleSessions {
public:
  explicit IdleSessions(int count) {
    for (int i = 0; i < count; ++i) sessions_.push_back(std::make_unique<Session>(listener_));
  }
  ~IdleSessions() {
    for (const auto& session : sessions_) close(session->peer());
  }
  IdleSessions(const IdleSessions&) = delete;
  IdleSessions& operator=(const IdleSessions&) = delete;

  const Session& operator[](size_t index) const { return *sessions_[index]; }

private:
  Listener listener_;
  std::vector<std::unique_ptr<Session>> sessions_;
};

/// The cost of finding a session: the argument is its place among 128 open ones.
void getAttribute(benchmark::State& state) {
  const IdleSessions sessions(kMostSessions);
  const ViSession session = sessions[static_cast<size_t>(state.range(0)) - 1].handle();
  ViUInt16 port = 0;
  timeBestBatch(state, [&] {
    require(QV_viGetAttribute(session, VI_ATTR_TCPIP_PORT, &port) == VI_SUCCESS, "QV_viGetAttribute");
  });
}
BENCHMARK(getAttribute)->Arg(1)->Arg(kMostSessions)->Iterations(20)->UseManualTime();

constexpr int kQueriesToShare = 40;
/// Real instruments take their time to answer. It makes two sessions comparable with one on a machine whose few cores
/// have the instruments to run too: what is measured is whether a session waits for the other.
constexpr std::chrono::microseconds kLatency(1000);

/// Queries shared out among as many sessions as the argument says, each on its thread.
void sharedQueries(benchmark::State& state) {
  const Listener listener;
  const auto sessionCount = static_cast<int>(state.range(0));
  std::vector<std::unique_ptr<Session>> sessions;
  std::vector<std::unique_ptr<Instrument>> instruments;
  for (int i = 0; i < sessionCount; ++i) {
    sessions.push_back(std::make_unique<Session>(listener));
    instruments.push_back(std::make_unique<Instrument>(sessions.back()->peer(), kLatency));
  }
  for (auto _ : state) {
    std::vector<std::thread> users;
    users.reserve(sessions.size());
    for (const auto& session : sessions) {
      users.emplace_back([&session, queries = kQueriesToShare / sessionCount] {
        ViByte message[kQuerySize] = "*IDN?\n";
        for (int i = 0; i < queries; ++i) session->query(message);
      });
    }
    for (std::thread& user : users) user.join();
  }
}
BENCHMARK(sharedQueries)->Arg(1)->Arg(2)->Iterations(1)->Repetitions(20)->UseRealTime();

/// Memory of one open session, over as many as there can be beside the one that keeps the library up.
bool sessionsAreSmall() {
  constexpr int count = kMostSessions - 1;
  const IdleSessions keepsTheLibraryUp(1);
  { const IdleSessions fillsEveryCache(count); }
  const size_t before = mallinfo2().uordblks;
  const IdleSessions sessions(count);
  const size_t bytes = (mallinfo2().uordblks - before) / count;
  const bool ok = bytes <= kMostBytesOfASession;
  std::printf("%s  one open session takes %zu bytes, to be at most %zu\n", ok ? "ok    " : "MISSED", bytes,
              kMostBytesOfASession);
  return ok;
}

}  // namespace

int main(int argc, char** argv) {
  const bool small = sessionsAreSmall();
  const int missed = runRatios(argc, argv,
                               {{"bareQuery", "sessionQuery", 1 / 1.05},
                                {"getAttribute/1", "getAttribute/128", 1 / 2.5},
                                {"sharedQueries/1", "sharedQueries/2", 1.8}});
  return small ? missed : 1;
}
