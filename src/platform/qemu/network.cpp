#include "platform/qemu/network.h"

#include <cstddef>
#include <utility>
#include <vector>

#include "platform/linux/error.h"
#include "platform/linux/socket_pair.h"
#include "platform/qemu/error.h"
#include "platform/qemu/subprocess.h"

namespace parlen::qemu {
namespace {

using platform::Result;

/// `networkSockets` are the ends of the network devices' sockets, with passt.
QemuProcess::Command commandOf(const QemuPlan& plan, std::vector<int> networkSockets) {
  const auto networking = plan.passt ? Networking::passt : Networking::user;
  const auto console = plan.console ? Console::file : Console::none;
  return {.program = plan.emulator,
          .arguments = buildArguments(plan.configuration, plan.acceleration, networking, console),
          .networkSockets = std::move(networkSockets),
          .console = plan.console};
}

/// passt's arguments. Without --no-map-gw it takes the gateway's address for the host itself.
std::vector<std::string> passtArguments(int descriptor,
                                        const std::vector<std::string>& nameServers) {
  std::vector<std::string> arguments{"--foreground", "--fd", std::to_string(descriptor),
                                     "--no-map-gw"};
  for (const std::string& address : nameServers) {
    arguments.insert(arguments.end(), {"--dns", address});
  }
  return arguments;
}

/// Only after a failure is passt's last message the reason.
std::string exitText(const SubprocessExit& exit) {
  const bool failed = exit.exit.status.value_or(0) != 0;
  const std::string text = "passt " + describe(exit.exit);
  return failed && !exit.lastMessage.empty() ? text + ": " + exit.lastMessage : text;
}

/// A QEMU with a passt for each network device.
class NetworkedQemu final : public QemuProcess {
 public:
  NetworkedQemu(linux::EventLoop& loop, std::string passtProgram, Handlers handlers)
      : loop_(loop), passtProgram_(std::move(passtProgram)), handlers_(std::move(handlers)) {}

  Result<> start(const QemuPlan& plan);
  QmpClient& monitor() override { return qemu_->monitor(); }
  void kill() override { qemu_->kill(); }

 private:
  /// What a network device of QEMU's is connected to.
  struct Connection {
    std::unique_ptr<Subprocess> passt;  // null if it could not be started
    std::optional<std::string> loss;    // why there is no connection any more
  };

  void connect(const QemuPlan& plan, const posix::Descriptor& socket);
  void lose(std::size_t index, std::string reason);
  void reportLoss(std::size_t index);
  void onReady(const Result<>& result);

  linux::EventLoop& loop_;
  std::string passtProgram_;
  Handlers handlers_;
  bool ready_ = false;
  std::vector<Connection> connections_;  // one for each network device
  std::unique_ptr<QemuProcess> qemu_;    // the last member: it ends first
};

Result<> NetworkedQemu::start(const QemuPlan& plan) {
  // Closed here as soon as each process has its own: passt ends when all copies of QEMU's end are
  // closed. That ends it also when this process is killed, for a process that changes its user, as
  // passt does for root, loses the signal that a Subprocess gets then (prctl(2),
  // PR_SET_PDEATHSIG).
  std::vector<linux::SocketPair> sockets;
  std::vector<int> numbers;
  for (std::size_t i = 0; i < plan.configuration.networkDevices.size(); ++i) {
    auto pair = linux::makeSocketPair();
    if (!pair) return linux::error("make the network's socket", pair.error());
    numbers.push_back(pair->theirs.get());
    sockets.push_back(*std::move(pair));
  }
  Handlers handlers = handlers_;
  handlers.monitor.onReady = [this](const Result<>& result) { onReady(result); };
  auto qemu = QemuProcess::start(loop_, commandOf(plan, std::move(numbers)), std::move(handlers));
  if (!qemu) return std::unexpected(std::move(qemu).error());
  qemu_ = *std::move(qemu);
  // Only now, so that QEMU, which takes longer, does not wait for it.
  for (const linux::SocketPair& pair : sockets) connect(plan, pair.ours);
  return {};
}

/// Starts a passt for the next network device. `socket` is its end of the device's.
void NetworkedQemu::connect(const QemuPlan& plan, const posix::Descriptor& socket) {
  constexpr int descriptor = 3;  // passt's
  const std::size_t index = connections_.size();
  auto passt =
      Subprocess::start(loop_,
                        {.program = passtProgram_,
                         .arguments = passtArguments(descriptor, plan.nameServers),
                         .onOutput = nullptr,
                         .descriptors = {{descriptor, socket.get()}}},
                        [this, index](const SubprocessExit& exit) { lose(index, exitText(exit)); });
  Connection& connection = connections_.emplace_back();
  if (passt) {
    connection.passt = *std::move(passt);
  } else {
    connection.loss = passt.error().description;
  }
}

void NetworkedQemu::onReady(const Result<>& result) {
  ready_ = result.has_value();
  for (std::size_t i = 0; i < connections_.size(); ++i) {
    if (ready_ && connections_[i].loss) reportLoss(i);
  }
  handlers_.monitor.onReady(result);
}

void NetworkedQemu::lose(std::size_t index, std::string reason) {
  connections_[index].loss = std::move(reason);
  if (ready_) reportLoss(index);
}

/// When QEMU ends, passt ends a little earlier, and that is no loss. QEMU does not reply then.
void NetworkedQemu::reportLoss(std::size_t index) {
  monitor().unplugNetwork(networkName(index), [this, index](const Result<>&) {
    handlers_.onNetworkLost(error(*connections_[index].loss).error());
  });
}

}  // namespace

Result<std::unique_ptr<QemuProcess>> startQemu(linux::EventLoop& loop, const QemuPlan& plan,
                                               QemuProcess::Handlers handlers) {
  if (!plan.passt) return QemuProcess::start(loop, commandOf(plan, {}), std::move(handlers));
  auto qemu = std::make_unique<NetworkedQemu>(loop, *plan.passt, std::move(handlers));
  if (auto started = qemu->start(plan); !started) {
    return std::unexpected(std::move(started).error());
  }
  return qemu;
}

}  // namespace parlen::qemu
