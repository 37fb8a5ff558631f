#pragma once

#include <QString>

namespace hvx {

// The dialogs that procedures show, each created through its factory in the Environment for
// one use: set its properties, Show it (modal), read it, release it.

// Asks what to do with the unsent messages that are more than a week old.
class DeleteOldMessagesDialog {
  public:
    // UserChoice values.
    static constexpr int kNoChoice = 0;
    static constexpr int kKeep = 1;
    static constexpr int kDeleteAll = 2;
    static constexpr int kDeleteOlderThanDays = 3;

    virtual ~DeleteOldMessagesDialog() = default;
    virtual void SetOldUnsentCount(int count) = 0;
    virtual void Show() = 0;
    virtual int UserChoice() const = 0;
    virtual int DaysToDelete() const = 0;
    virtual bool Cancelled() const = 0;
};

// A question with one of four button sets and a box with which the operator turns it off for
// good: the dialog itself records the turn-off under "Warnings" however it closes.
class MessageWithTurnOffDialog {
  public:
    // PictureType values: the icon codes of a standard message box.
    static constexpr long kQuestion = 32;
    static constexpr long kExclamation = 48;
    static constexpr long kInformation = 64;

    virtual ~MessageWithTurnOffDialog() = default;
    virtual void SetMsg(const QString& text) = 0;
    virtual void SetYesNo(bool on) = 0;
    virtual void SetYesNoCancel(bool on) = 0;
    virtual void SetOKOnly(bool on) = 0;
    virtual void SetOKCancel(bool on) = 0;
    virtual void SetWarningOffKey(const QString& key) = 0;
    virtual void SetWarningOffMessage(const QString& text) = 0;
    virtual void SetFormCaption(const QString& caption) = 0;
    virtual void SetPictureType(long type) = 0;
    virtual void Show() = 0;
    // 1 OK, 2 Cancel, 6 Yes, 7 No; 0 when closed any other way.
    virtual long Response() const = 0;
    virtual bool Cancelled() const = 0;
};

// Sets up the operator alerts: shows the stored message and three destinations, and saves
// them when the operator confirms. It reads and writes the store itself, so the caller only
// shows it.
class OperatorNameDialog {
  public:
    virtual ~OperatorNameDialog() = default;
    virtual void Show() = 0;
};

// Lets the operator choose which Monitor instance to be, from monitornames.txt.
class MonitorNamesDialog {
  public:
    virtual ~MonitorNamesDialog() = default;
    virtual void Show() = 0;
    // True unless OK succeeded.
    virtual bool Cancelled() const = 0;
    virtual QString DBINIPath() const = 0;
    virtual QString MonitorName() const = 0;
};

}  // namespace hvx
