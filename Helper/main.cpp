// The entry point.
#include "Helper/AppDelegate.hpp"

int main(int argc, char* argv[]) {
  using quorvel::AppDelegate;
  return quorvel::NSApplicationMain(
      argc, argv, {{"AppDelegate", [] { return std::make_unique<AppDelegate>(); }}});
}
