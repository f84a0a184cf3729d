// A dispatcher with a subscriber and a hardware side, all of which keep what happened.
#pragma once

#include "software/bp/serial/CEventDispatcher.h"
#include "software/bp/serial/CProjCon.h"
#include "tests/support/CRecordingLog.h"
#include "tests/support/CRecordingNotifier.h"
#include "tests/support/CRecordingProxy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

class CControlCoreFixture : public ::testing::Test
{
protected:
    CControlCoreFixture() { mDispatcher.SetControlNotifier(&mNotifier); }

    // Every notification names its recipient, so each code that is watched has one.
    void Watch(const std::string& code)
    {
        mDispatcher.GetNotificationManager().NotifyRegister(code, "JSON_TCP.1");
    }
    static std::string Line(const std::string& text) { return text + " JSON_TCP.1"; }

    CProjCon Integer(int minimum, int maximum, int value, EDisplayType type = eDisplayInteger,
                     bool persistent = false)
    {
        return {type,  mDispatcher,     mProxy, "BRI", persistent, minimum, maximum,
                value, eAccessOperator, 0,      0,     0,          false};
    }
    CProjCon Boolean(bool value)
    {
        return {eDisplayBoolean, mDispatcher, mProxy, "PWR", false, value, eAccessOperator, 0, 0, false};
    }
    CProjCon List(int value)
    {
        return {eDisplayList, mDispatcher, mProxy, "SRC", false, value, eAccessOperator, 0, 0, false};
    }
    CProjCon Action()
    {
        return {eDisplayAction, mDispatcher, mProxy, "RST", false, eAccessOperator, 0, 0, 0, false};
    }
    CProjCon Entry(EDisplayType type) { return {type, mDispatcher, mProxy, "CST", 0, 0, ""}; }
    CProjCon Text(int minimum, int maximum, const std::string& text, EDisplayType type = eDisplayText,
                  bool persistent = false)
    {
        return {type,    mDispatcher, mProxy,          "NME", persistent, minimum,
                maximum, text,        eAccessOperator, 0,     0,          false};
    }

    CRecordingLog mLog;
    CRecordingProxy mProxy;
    CRecordingNotifier mNotifier;
    CEventDispatcher mDispatcher{mLog};
};
