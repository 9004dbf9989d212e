// A GEM host inside asio's loop, which waits for one descriptor for it.
//     asio_host PORT
#include <asio.hpp>

#include <velto/controls/gem_factory.h>

#include <chrono>
#include <functional>
#include <iostream>

int main(int argc, char **argv) {
  asio::io_context context;
  velto::EventLoop loop;
  const std::string port = argc > 1 ? argv[1] : "5021";
  const auto host = velto::VeltoGem::Host(loop, "127.0.0.1:" + port);
  if (!host)
    return 2;
  host->SetT5(1);

  int status = 1;
  host->Subscribe(12, {101}, [&](const velto::GemEvent &event) {
    std::cout << "asio: etch completed at " << event.values[101] << " mTorr\n";
    status = 0;
    context.stop();
  });

  // It is readable whenever a link, a timer or a task of the control has something to do.
  bool started = false;
  asio::posix::stream_descriptor descriptor(context, loop.descriptor());
  std::function<void(asio::error_code)> turn = [&](asio::error_code error) {
    if (error)
      return;
    loop.runOnce(0);
    if (!started && host->Subscribed()) {
      started = true;
      host->Request("s2f41w{<a 'START'>{}}", [&context](const velto::GemReply &reply) {
        if (!reply) {
          std::cerr << reply.reason << '\n';
          context.stop();
        }
      });
    }
    descriptor.async_wait(asio::posix::descriptor_base::wait_read, turn);
  };
  descriptor.async_wait(asio::posix::descriptor_base::wait_read, turn);
  context.run_for(std::chrono::seconds(20));
  descriptor.release(); // it belongs to the loop
  return status;
}
