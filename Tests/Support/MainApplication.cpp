#include "Tests/Support/MainApplication.hpp"

#include <string_view>
#include <utility>

namespace quorvel::test {

MainApplication::MainApplication() : bus_(openSessionBus()) {
  const auto noteRequest = [](sd_bus_message* message, void* requests, sd_bus_error* /*error*/) {
    const char* name = nullptr;
    const char* object = nullptr;
    std::uint32_t options = 0;
    if (::sd_bus_message_read(message, "savu", &name, 1, "s", &object, &options) > 0 &&
        std::string_view(name) == kRequest) {
      static_cast<std::vector<std::string>*>(requests)->push_back(object +
                                                                  (" " + std::to_string(options)));
    }
    return 0;
  };
  ::sd_bus_match_signal(bus_.get(), nullptr, nullptr, kPath, kInterface, "Posted", noteRequest,
                        &requests_);
}

std::vector<std::string> MainApplication::takeRequests() {
  EXPECT_TRUE(eventually([&] {
    while (::sd_bus_process(bus_.get(), nullptr) > 0) {
    }
    return !requests_.empty();
  }));
  return std::exchange(requests_, {});
}

}  // namespace quorvel::test
