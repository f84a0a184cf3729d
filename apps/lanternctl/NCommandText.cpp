// The border between values and the two kinds of readers.
#include "apps/lanternctl/NCommandText.h"

#include "apps/lanternctl/CControlInfo.h"
#include "apps/lanternctl/CSession.h"
#include "apps/lanternctl/NDisplayText.h"
#include "apps/lanternctl/NValueText.h"

#include <ostream>

void NCommandText::PrintValue(CSession& session, const CControlInfo& control, const Json::Value& value)
{
    if (session.IsTerminal())
        session.Out() << NDisplayText::Printable(
            NValueText::Format(control, value, NValueText::EUnit::Shown));
    else
        session.Out() << NValueText::Format(control, value, NValueText::EUnit::Hidden);
    session.Out() << '\n';
}
