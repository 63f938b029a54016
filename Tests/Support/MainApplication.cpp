#include "Tests/Support/MainApplication.hpp"

#include <string_view>
#include <utility>

#include "Tests/Support/Files.hpp"

namespace quorvel::test {

MainApplication::MainApplication() {
  sd_bus* bus = nullptr;
  ::sd_bus_open_user(&bus);
  bus_.reset(bus);
  sd_bus_slot* slot = nullptr;
  ::sd_bus_match_signal(bus, &slot, nullptr, kPath, kInterface, "Posted", noteRequest, this);
  match_.reset(slot);
}

std::vector<std::string> MainApplication::takeRequests() {
  EXPECT_TRUE(eventually([&] {
    while (::sd_bus_process(bus_.get(), nullptr) > 0) {
    }
    return !requests_.empty();
  }));
  return std::exchange(requests_, {});
}

int MainApplication::noteRequest(sd_bus_message* message, void* context, sd_bus_error* /*error*/) {
  const char* name = nullptr;
  const char* object = nullptr;
  std::uint32_t options = 0;
  ::sd_bus_message_read(message, "s", &name);
  ::sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, "v");
  if (std::string_view(name) == kRequest && ::sd_bus_message_read(message, "v", "s", &object) > 0) {
    ::sd_bus_message_exit_container(message);
    ::sd_bus_message_read(message, "u", &options);
    static_cast<MainApplication*>(context)->requests_.push_back(std::string(object) + " " +
                                                                std::to_string(options));
  }
  return 0;
}

}  // namespace quorvel::test
