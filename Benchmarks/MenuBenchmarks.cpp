// How long the agent's menu takes to open: from a host's question whether it has changed until the
// host has the new layout. The other side is a bare service that has the agent's layouts in memory.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <utility>

#include "Benchmarks/Measure.hpp"
#include "Platform/Linux/Support/BusObjects.hpp"
#include "Tests/Support/Files.hpp"
#include "Tools/Library/ToolError.hpp"
#include "Tools/statusmenu/MenuClient.hpp"

namespace quorvel::benchmarks {
namespace {

constexpr int kPairs = 1000;
constexpr const char* kBareName = "com.quorvel.Benchmarks.BareMenu";

constexpr std::string_view kDiskutil = R"(#!/bin/sh
case $1 in
  list) cat "$HOME/list" ;;
  info) echo "Volume Name:               V_$2"
        echo "Mounted: Yes"
        echo "File System Personality: NTFS" ;;
esac
)";
/// So that volumes are adopted, and their toggles chosen, without a command.
constexpr std::string_view kManagerStyle =
    "<plist version=\"1.0\"><dict><key>Quorvel.Manager.Style.Key</key><true/></dict></plist>";
constexpr const char* kStart =
    "PATH=$0/bin:$PATH HOME=$0 XDG_CONFIG_HOME=$0/config XDG_RUNTIME_DIR=$0 exec " QUORVEL_AGENT;

/// The agent on a machine with so many volumes.
pid_t startAgent(const test::TemporaryFolder& home, std::int64_t volumes) {
  std::string list;
  for (std::int64_t i = 0; i < volumes; ++i) {
    list += "   1:  Windows_NTFS  1.0 GB  disk" + std::to_string(i) + "s1\n";
  }
  test::writeFile(home / "list", list);
  test::writeScript(home / "bin/diskutil", kDiskutil);
  test::writeFile(home / "config/com.quorvel.Manager.Shared.plist", kManagerStyle);
  return spawn({"sh", "-c", kStart, home.path()}, STDOUT_FILENO, STDERR_FILENO);
}

/// The layout of a menu that has changed.
BusMessage openMenu(const MenuClient& menu) {
  if (!menu.aboutToShow()) {
    throw std::runtime_error("The menu does not change.");
  }
  return menu.layout();
}

void await(const MenuClient& menu) {
  const auto answers = [&menu] {
    try {
      static_cast<void>(menu.aboutToShow());
      return true;
    } catch (const ToolError&) {
      return false;
    }
  };
  if (!test::eventually(answers)) {
    throw std::runtime_error("There is no menu on the session bus.");
  }
}

/// What appends a value to a message, or opens or closes a container. Faster than to copy messages,
/// which sd-bus does value by value, too.
struct Step {
  char type = '\0';
  std::string text{};
  std::uint32_t number = 0;
};
using Steps = std::vector<Step>;

/// Notes how a message was written, from where it is read to the end of the container.
void noteSteps(sd_bus_message* message, Steps& steps) {
  char type = '\0';
  const char* text = nullptr;
  while (::sd_bus_message_peek_type(message, &type, &text) > 0) {
    steps.push_back({.type = type, .text = text == nullptr ? "" : text});
    if (text != nullptr) {
      ::sd_bus_message_enter_container(message, type, steps.back().text.c_str());
      noteSteps(message, steps);
      ::sd_bus_message_exit_container(message);
      steps.emplace_back();
    } else if (type == SD_BUS_TYPE_STRING) {
      ::sd_bus_message_read_basic(message, type, &text);
      steps.back().text = text;
    } else {
      ::sd_bus_message_read_basic(message, type, &steps.back().number);
    }
  }
}

void take(sd_bus_message* message, const Step& step) {
  if (step.type == '\0') {
    ::sd_bus_message_close_container(message);
  } else if (step.type == SD_BUS_TYPE_STRING) {
    ::sd_bus_message_append_basic(message, step.type, step.text.c_str());
  } else if (step.text.empty()) {
    ::sd_bus_message_append_basic(message, step.type, &step.number);
  } else {
    ::sd_bus_message_open_container(message, step.type, step.text.c_str());
  }
}

/// Chooses the first entry, a volume's toggle, from a layout. The second call is answered when the
/// choice has been carried out.
void chooseFirst(const MenuClient& menu, const Steps& layout) {
  const auto isId = [](const Step& step) { return step.type == SD_BUS_TYPE_INT32; };
  const auto root = std::find_if(layout.begin(), layout.end(), isId);
  const auto first = std::find_if(root + 1, layout.end(), isId);
  menu.sendEvent(static_cast<std::int32_t>(first->number), "clicked");
  menu.sendEvent(0, "hovered");
}

/// The menu before and after its first entry was chosen.
using Layouts = std::array<Steps, 2>;

int aboutToShow(sd_bus_message* call, void* /*context*/, sd_bus_error* /*error*/) {
  return ::sd_bus_reply_method_return(call, "b", 1);
}

int getLayout(sd_bus_message* call, void* context, sd_bus_error* /*error*/) {
  auto& layouts = *static_cast<Layouts*>(context);
  sd_bus_message* message = nullptr;
  ::sd_bus_message_new_method_return(call, &message);
  const BusMessage reply(message);
  for (const Step& step : layouts.front()) {
    take(message, step);
  }
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

pid_t startBareService(Layouts& layouts) {
  if (const pid_t pid = ::fork(); pid != 0) {
    return pid;
  }
  const Bus bus = openSessionBus();
  ::sd_bus_add_object_vtable(bus.get(), nullptr, kMenuPath, kMenuInterface, kTable, &layouts);
  ::sd_bus_request_name(bus.get(), kBareName, 0);
  while (::sd_bus_process(bus.get(), nullptr) > 0 || ::sd_bus_wait(bus.get(), UINT64_MAX) >= 0) {
  }
  ::_exit(EXIT_FAILURE);
}

void measureOpening(benchmark::State& state) {
  const test::TemporaryFolder home;
  const Background agent(startAgent(home, state.range(0)));
  test::eventually([&home] { return std::filesystem::exists(home / "scans"); });
  const MenuClient agents;
  await(agents);
  Steps shown;
  noteSteps(agents.layout().get(), shown);
  const auto openAgents = [&] {
    chooseFirst(agents, shown);  // So that the menu really changes.
    BusMessage layout;
    const Cost cost = agent.costOf([&] { layout = openMenu(agents); });
    shown.clear();
    noteSteps(layout.get(), shown);
    return cost;
  };
  Layouts layouts;
  for (Steps& layout : layouts) {
    openAgents();
    layout = shown;
  }
  const Background service(startBareService(layouts));
  const MenuClient bare(kBareName);
  await(bare);
  const auto openBare = [&] {
    chooseFirst(bare, shown);  // It does not do it, but has been woken as well.
    return service.costOf([&] { openMenu(bare); });
  };
  compare(state, {.what = "Opening the menu, volumes: " + std::to_string(state.range(0)) +
                          " : a bare service",
                  .ours = openAgents,
                  .theirs = openBare,
                  .wallGoal = "at most 2",
                  .cpuGoal = ""});
}

}  // namespace

void awaitAgentsMenu() { await(MenuClient()); }

void addMenuBenchmark() {
  benchmark::RegisterBenchmark("Opening the menu, volumes", measureOpening)
      ->Arg(1)
      ->Arg(10)
      ->Arg(100)
      ->Iterations(kPairs)
      ->Repetitions(kRepetitions)
      ->ReportAggregatesOnly()
      ->UseManualTime()
      ->Unit(benchmark::kMicrosecond);
}

}  // namespace quorvel::benchmarks
