#pragma once

#include "controls/component/enumeration.h"

namespace velto::enumerations {

// What the numbers of the controls' members mean, each enumeration once: the type library, the
// reference and `velto describe` come from these.

// Of messages.
const Enumeration &itemTypes();
const Enumeration &verifications();
const Enumeration &editions();
const Enumeration &sessionTypes();

// Of links.
const Enumeration &hsmsErrors();
const Enumeration &secsIErrors();
const Enumeration &socketErrors();
const Enumeration &parities();
const Enumeration &stopBits();

// Of the list of lines.
const Enumeration &dateFormats();

// Of a GEM equipment and its host.
const Enumeration &gemErrors();
const Enumeration &communicationStates();
const Enumeration &controlStates();
const Enumeration &processStates();
const Enumeration &connectionStates();
const Enumeration &spoolStates();
const Enumeration &transports();
const Enumeration &lineMasters();
const Enumeration &logicalConnections();
const Enumeration &workSpaces();
const Enumeration &viewStyles();
const Enumeration &setupPages();
const Enumeration &capabilities();
const Enumeration &variableKinds();
const Enumeration &variableRoles();
const Enumeration &eventRoles();
const Enumeration &programActions();

// The acknowledge codes that a host application gives (SEMI E5).
const Enumeration &commandAnswers();
const Enumeration &parameterAnswers();
const Enumeration &programAnswers();
const Enumeration &terminalAnswers();

} // namespace velto::enumerations
