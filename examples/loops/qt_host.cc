// A GEM host inside Qt's loop, which watches one descriptor for it.
//     qt_host PORT
#include <QCoreApplication>
#include <QSocketNotifier>
#include <QTimer>

#include <velto/controls/gem_factory.h>

#include <iostream>

int main(int argc, char **argv) {
  QCoreApplication application(argc, argv);
  velto::EventLoop loop;
  const std::string port = argc > 1 ? argv[1] : "5021";
  const auto host = velto::VeltoGem::Host(loop, "127.0.0.1:" + port);
  if (!host)
    return 2;
  host->SetT5(1);

  host->Subscribe(12, {101}, [&application](const velto::GemEvent &event) {
    std::cout << "Qt: etch completed at " << event.values[101] << " mTorr\n";
    application.exit(0);
  });

  // It is readable whenever a link, a timer or a task of the control has something to do.
  bool started = false;
  QSocketNotifier notifier(loop.descriptor(), QSocketNotifier::Read);
  QObject::connect(&notifier, &QSocketNotifier::activated, [&] {
    loop.runOnce(0);
    if (started || !host->Subscribed())
      return;
    started = true;
    host->Request("s2f41w{<a 'START'>{}}", [&application](const velto::GemReply &reply) {
      if (!reply) {
        std::cerr << reply.reason << '\n';
        application.exit(1);
      }
    });
  });
  QTimer::singleShot(20000, &application, [&application] { application.exit(1); });
  return QCoreApplication::exec();
}
