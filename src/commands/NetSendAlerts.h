#pragma once

#include "platform/Conversions.h"

#include <QLatin1String>
#include <QString>

#include <array>

namespace hvx {

struct AppContext;

// Operator alerts: when the error indicator comes up, the stored message goes to up to three
// destinations, each through one run of the program `hvx-net-send DESTINATION TEXT`. The
// set-up lives only in the Options section and is read afresh for every batch, so a change
// counts from the next alert on.

inline constexpr QLatin1String kNetSendProgram{"hvx-net-send"};
// The text argument that tells it to read the text from its standard input.
inline constexpr QLatin1String kReadTextFromInput{"-"};
inline constexpr QLatin1String kQuotesMessage{
    "Net Send destinations with spaces must be contained in quotes."};

// The message and the three destinations, each exactly as typed.
struct AlertSetup {
    QString message;
    std::array<QString, 3> destinations;
};

// Once its end blanks are gone, a destination with a blank inside must begin and end with a
// double quote; any other destination, an empty one included, is acceptable.
bool isAcceptableDestination(const QString& destination);

// Reads the message, then the destinations, each into `setup` as soon as it is read, so a store
// error (which reaches the caller) leaves the values read before it in place. A value never
// stored reads as empty text.
void ReadAlertSetup(AppContext& ctx, AlertSetup& setup);

// The OK of the set-up: the first destination that breaks the quotes rule is named in a
// message box and nothing is saved; otherwise the message and the destinations are saved in
// that order, exactly as typed. Returns whether everything was saved. Never throws: a failure
// ends it quietly, and what was saved before the failure stays saved.
bool SaveAlertSetup(AppContext& ctx, const AlertSetup& setup);

// The set-up command of the main window's menu: shows the dialog from the Environment's
// factory. Errors are reported with ReportError.
void NetSendSetup(AppContext& ctx);

// The program that delivers one alert: `hvx-net-send` in the application folder, else the
// one found on the search path. Throws RuntimeError 53 when there is none.
QString NetSendProgram(const AppContext& ctx);

// Sends one batch: nothing while the stored message is blank, otherwise one run per
// non-blank destination, in order, with the stored destination and message untrimmed as the
// two arguments. Does not wait for the runs. A failure ends it silently; the destinations not
// yet served get nothing this time.
void SendOperatorAlerts(AppContext& ctx);

}  // namespace hvx
