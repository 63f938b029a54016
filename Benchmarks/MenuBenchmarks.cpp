// How long the agent's menu takes to open: from a host's question whether it has changed until the
// host has the new layout. The other side is a bare service that has the agent's layouts in memory.
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdint>
#include <stdexcept>
#include <utility>

#include "Benchmarks/Measure.hpp"
#include "Platform/Linux/Support/Bus.hpp"
#include "Tests/Support/Agent.hpp"
#include "Tests/Support/Session.hpp"
#include "Tools/Library/ToolError.hpp"
#include "Tools/statusmenu/MenuClient.hpp"

namespace quorvel::benchmarks {
namespace {

constexpr const char* kBareName = "com.quorvel.Benchmarks.BareMenu";

/// The menu before and after its first entry was chosen.
using Layouts = std::array<std::vector<MenuEntry>, 2>;

void append(sd_bus_message* reply, const MenuEntry& entry) {
  if (entry.isSeparator) {
    ::sd_bus_message_append(reply, "v", "(ia{sv}av)", entry.id, 2, "visible", "b", 1, "type", "s",
                            "separator", 0);
  } else {
    ::sd_bus_message_append(reply, "v", "(ia{sv}av)", entry.id, 3, "visible", "b", 1, "label", "s",
                            entry.label.c_str(), "enabled", "b", int{entry.isEnabled}, 0);
  }
}

int aboutToShow(sd_bus_message* call, void* /*context*/, sd_bus_error* /*error*/) {
  return ::sd_bus_reply_method_return(call, "b", 1);
}

int getLayout(sd_bus_message* call, void* context, sd_bus_error* /*error*/) {
  auto& layouts = *static_cast<Layouts*>(context);
  sd_bus_message* message = nullptr;
  ::sd_bus_message_new_method_return(call, &message);
  const BusMessage reply(message);
  ::sd_bus_message_append(message, "u", 1);
  ::sd_bus_message_open_container(message, SD_BUS_TYPE_STRUCT, "ia{sv}av");
  ::sd_bus_message_append(message, "ia{sv}", 0, 1, "children-display", "s", "submenu");
  ::sd_bus_message_open_container(message, SD_BUS_TYPE_ARRAY, "v");
  for (const MenuEntry& entry : layouts.front()) {
    append(message, entry);
  }
  ::sd_bus_message_close_container(message);
  ::sd_bus_message_close_container(message);
  std::swap(layouts.front(), layouts.back());
  return ::sd_bus_message_send(message);
}

int event(sd_bus_message* call, void* /*context*/, sd_bus_error* /*error*/) {
  return ::sd_bus_reply_method_return(call, "");
}

const sd_bus_vtable kTable[] = {  // NOLINT(modernize-avoid-c-arrays): what sd-bus takes.
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("AboutToShow", "i", "b", aboutToShow, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("GetLayout", "iias", "u(ia{sv}av)", getLayout, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("Event", "isvu", "", event, SD_BUS_VTABLE_UNPRIVILEGED), SD_BUS_VTABLE_END};

/// A process of its own, as the agent is one.
class BareService {
 public:
  explicit BareService(Layouts& layouts) : pid_(::fork()) {
    if (pid_ == 0) {
      serve(layouts);
    }
  }
  ~BareService() {
    ::kill(pid_, SIGTERM);
    ::waitpid(pid_, nullptr, 0);
  }
  BareService(const BareService&) = delete;
  BareService& operator=(const BareService&) = delete;

 private:
  [[noreturn]] static void serve(Layouts& layouts) {
    const Bus bus = openSessionBus();
    ::sd_bus_add_object_vtable(bus.get(), nullptr, kMenuPath, kMenuInterface, kTable, &layouts);
    ::sd_bus_request_name(bus.get(), kBareName, 0);
    while (::sd_bus_process(bus.get(), nullptr) > 0 || ::sd_bus_wait(bus.get(), UINT64_MAX) >= 0) {
    }
    ::_exit(EXIT_FAILURE);
  }

  pid_t pid_;
};

bool answers(const MenuClient& menu) {
  try {
    static_cast<void>(menu.aboutToShow());
    return true;
  } catch (const ToolError&) {
    return false;
  }
}

/// The layout of a menu that has changed.
BusMessage openMenu(const MenuClient& menu) {
  if (!menu.aboutToShow()) {
    throw std::runtime_error("The menu does not change.");
  }
  return menu.layout();
}

/// Chooses an entry. The second call is answered when the choice has been carried out.
void choose(const MenuClient& menu, std::int32_t entry) {
  menu.sendEvent(entry, "clicked");
  menu.sendEvent(0, "hovered");
}

void measureOpening(const MenuClient& agents, const std::string& volumes) {
  std::vector<MenuEntry> shown = entriesOf(agents.layout());
  const auto openAgents = [&] {
    choose(agents, shown.front().id);  // So that the menu really changes.
    BusMessage layout;
    const double wall = wallTimeOf([&] { layout = openMenu(agents); });
    shown = entriesOf(layout);
    return Cost{.wall = wall};
  };
  Layouts layouts;
  for (auto& layout : layouts) {
    openAgents();
    layout = shown;
  }
  const BareService service(layouts);
  const MenuClient bare(kBareName);
  test::eventually([&] { return answers(bare); });
  const auto openBare = [&] {
    choose(bare, shown.front().id);  // It does not do it, but has been woken as well.
    return Cost{.wall = wallTimeOf([&] { openMenu(bare); })};
  };
  compare({.what = "Opening the menu with " + volumes + " : a bare service",
           .pairs = 1000,
           .ours = openAgents,
           .theirs = openBare,
           .wallGoal = "at most 2",
           .cpuGoal = ""});
}

}  // namespace

void measureMenu(const test::StandInMachine& machine) {
  // So that volumes are adopted, and their toggles chosen, without a command.
  machine.settings("<key>Quorvel.Manager.Style.Key</key><true/>");
  const test::Session session;
  std::vector<std::string> names;
  for (const std::size_t volumes : {1, 10, 100}) {
    while (names.size() < volumes) {
      names.push_back("V_" + std::to_string(names.size()));
    }
    machine.attach(names);
    const test::Agent agent(machine, "");
    const MenuClient menu;
    if (!machine.scansOn(2) || !test::eventually([&] { return answers(menu); })) {
      throw std::runtime_error("The agent shows no menu: " + agent.errors());
    }
    measureOpening(menu, std::to_string(volumes) + (volumes == 1 ? " volume" : " volumes"));
  }
}

}  // namespace quorvel::benchmarks
