#pragma once

#include <functional>
#include <memory>
#include <string>

namespace velto {

class EventLoop;

/// Finds the addresses of host names beside a loop, so that a name server that is silent for
/// seconds holds nobody up but those who ask for names. One worker looks up one name after the
/// other; it is a thread, which begins with the first name and ends with the resolver, or when the
/// platform lets go of it. See EventLoop::names().
class NameResolver {
public:
  /// What finds the address of a name on the worker's thread; empty when it is unknown.
  using Lookup = std::function<std::string(const std::string &name)>;

  /// Without a lookup of its own, asks the platform.
  explicit NameResolver(EventLoop &loop, Lookup lookup = {});
  ~NameResolver();
  NameResolver(const NameResolver &) = delete;
  NameResolver &operator=(const NameResolver &) = delete;

  /// Calls `done` on the loop's thread, not from inside this call, with the first IPv4 address in
  /// dotted form; empty when the name is unknown. Who drops the ticket hears nothing, and a name
  /// that waits is then not looked up.
  [[nodiscard]] std::shared_ptr<void> lookUp(std::string name,
                                             std::function<void(const std::string &address)> done);

private:
  struct Worker;
  struct Asked;
  std::shared_ptr<Worker> worker_;
  std::shared_ptr<Asked> asked_;
};

} // namespace velto
