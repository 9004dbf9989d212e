// The hot plate in C++: bake [MODEL [ADDRESS]].
#include <velto/controls/gem_factory.h>

#include <iostream>

constexpr int32_t kTemperature = 101;
constexpr int32_t kLot = 201;
constexpr int32_t kWaferBaked = 12;

int main(int argc, char **argv) {
  velto::EventLoop loop;
  std::string problem;
  const auto tool = velto::VeltoGem::Equipment(loop, argc > 1 ? argv[1] : "bake.model",
                                               argc > 2 ? argv[2] : "listen:5000", &problem);
  if (!tool) {
    std::cerr << problem << '\n';
    return 1;
  }
  // START: the lot is noted, and the plate warms up within a second.
  double temperature = 23;
  velto::Timer heater(loop, [&] {
    tool->SetVIDValue(kTemperature, temperature);
    if ((temperature += 15.7) > 181)
      heater.stop();
  });
  tool->OnCommand("START", [&](velto::GemCommand &command) {
    std::cout << "baking " << command.values["LOT"] << std::endl;
    tool->SetVIDValue(kLot, command.values["LOT"]);
    tool->SetVIDValue(kTemperature, temperature = 23);
    heater.startPeriodic(100);
    return 0; // HCACK: it is done, and the event of the command follows
  });
  // A wafer is ready every second.
  velto::Timer wafers(loop, [&] { tool->InvokeEvent(kWaferBaked); });
  wafers.startPeriodic(1000);
  loop.run();
}
