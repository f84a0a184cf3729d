// Takes the place of a front end and keeps what it was asked to announce.
#pragma once

#include "software/bp/serial/CProjCon.h"
#include "software/bp/serial/IControlNotifier.h"
#include "software/bp/serial/IIpcServer.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

class CRecordingNotifier : public IControlNotifier, public IIpcServer
{
public:
    void MakeNotification(const CProjCon& control, ENotifyType type,
                          std::list<std::string> recipients) override
    {
        std::string line = control.GetCode() + " " + std::to_string(type) + " ";
        line += control.GetFamily().mFamily == EControlFamily::Text ? control.GetText()
                                                                    : std::to_string(control.GetValue());
        for (const std::string& recipient : recipients)
            line += " " + recipient;
        mLines.push_back(line);
        if (mOnNotify)
            mOnNotify(control);
    }
    void ProcessEvents() override { ++mProcessed; }

    /// What was announced since the last call, "CODE TYPE VALUE RECIPIENT..." each.
    std::vector<std::string> Take() { return std::exchange(mLines, {}); }

    std::function<void(const CProjCon&)> mOnNotify;
    int mProcessed = 0;

private:
    std::vector<std::string> mLines;
};
