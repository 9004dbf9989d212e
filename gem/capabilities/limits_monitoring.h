#pragma once

#include "gem/capabilities/capability.h"

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string_view>
#include <vector>

namespace velto {

class ItemCollector;

/// Limits monitoring (SEMI E30 4.10; E5 S2F45 to S2F48): the host gives a variable up to seven
/// limits, each a dead band between an upper and a lower boundary. When the value reaches or leaves
/// a zone beyond the dead band, whoever changes it, the event of the transition is reported.
class CHGemLimits final : public GemCapability {
public:
  using GemCapability::GemCapability;

  /// LVACK (SEMI E5): what is wrong with a variable.
  enum VariableFault : uint8_t {
    NoSuchVariable = 1,
    NoLimits = 2, ///< not numeric, without bounds, or a constant
    Repeated = 3,
    BadLimit = 4,
  };
  /// LIMITACK (SEMI E5): what is wrong with a limit.
  enum LimitFault : uint8_t {
    NoSuchLimit = 1,
    AboveMaximum = 2,
    BelowMinimum = 3,
    BandReversed = 4,
    BadFormat = 5,
    NotANumber = 6, ///< a text that cannot be translated
    Duplicate = 7,
  };
  /// TransitionType (SEMI E5).
  enum Transition : uint8_t { Upwards = 0, Downwards = 1 };

  bool OnReceive(CHSecsVerifier &slot) override;
  void OnVariableChanged(uint32_t vid) override;
  void OnVariableRemoved(uint32_t vid) override;
  void Reset() override;
  void addStatus(TreeNode &parent) const override;

  std::string_view storedAs() const override { return "Limits"; }
  void store(ArchiveWriter &archive) const override;
  void load(ArchiveReader &archive) override;

private:
  enum class Zone : uint8_t { None, Below, Above };
  // Holds every number of the 64-bit types as it is.
  using Number = long double;

  struct Limit {
    uint8_t id = 0;
    CHSecsItem upper; // UPPERDB and LOWERDB as they came
    CHSecsItem lower;
    Number top = 0; // the same as numbers
    Number bottom = 0;
    Zone zone = Zone::None;

    Zone zoneOf(Number value) const;
  };
  using Limits = std::vector<Limit>; // in order of their IDs
  struct Crossing {
    uint32_t vid;
    uint8_t limit;
    Transition transition;
  };
  struct Bounds {
    CHSecsItem minimum;
    CHSecsItem maximum;
    Number lowest = 0;
    Number highest = 0;
  };
  // What S2F45 changes of one variable.
  struct Change {
    uint32_t vid = 0;
    bool all = false; // limits go
    Limits defined = {};
    std::vector<uint8_t> removed = {};
  };
  struct Fault {
    VariableFault variable;
    uint8_t limit = 0; // LIMITID
    uint8_t fault = 0; // LimitFault; 0: none
  };

  static std::optional<Number> numberIn(const CHSecsItem &item);
  static Number rounded(uint8_t nodeType, Number number);
  static uint8_t readBoundary(const CHSecsItem &item, uint8_t nodeType, Number &number);
  std::optional<Bounds> boundsOf(const CHGemEventVid *variable) const;
  std::optional<Number> valueOf(uint32_t vid) const;
  CHSecsItem define(const CHSecsItem &body);
  std::optional<Fault> readChange(const CHSecsItem &entry, Change &change) const;
  uint8_t readLimit(const CHSecsItem &entry, const CHGemEventVid &variable, const Bounds &bounds,
                    Change &change) const;
  void apply(Change &&change);
  CHSecsItem attributes(const CHSecsItem &body) const;
  bool addAttributes(ItemCollector &list, CHSecsItem &&vid, const CHGemEventVid *variable) const;
  void put(uint32_t vid, Limit &&limit);
  void reportCrossings();

  std::map<uint32_t, Limits> watched_; // by VID
  std::deque<Crossing> crossings_;     // that are still to be reported
  bool reporting_ = false;
};

} // namespace velto
