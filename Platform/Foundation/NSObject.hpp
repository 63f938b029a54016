// What all objects have in common.
#pragma once

namespace quorvel {

/// The base of what has an identity: it is never copied.
class NSObject {
 public:
  NSObject(const NSObject&) = delete;
  NSObject& operator=(const NSObject&) = delete;

 protected:
  NSObject() = default;
  ~NSObject() = default;
};

}  // namespace quorvel
