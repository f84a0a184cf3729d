// Controls as JSON, and the one place where a method finds the control that it was asked for.
#pragma once

#include "software/bp/c4j/CC4jBaseHandler.h"

#include <string>

class CProjCon;

/// Base of the groups of methods that show or change controls.
class CC4jBaseControlHandler : public CC4jBaseHandler
{
public:
    using CC4jBaseHandler::CC4jBaseHandler;

    /// "value", and "color" for a text that has one; null instead of an object receives the bare value.
    /// @returns false, with `obj` untouched, when it is neither
    static bool AddValueToResult(const CProjCon& control, Json::Value& obj);

    // The others add to an object, which null becomes.

    static void AddEnabledToResult(const CProjCon& control, Json::Value& obj);
    /// "min" and "max" of booleans, integers and texts, "softmin" and "softmax" of soft ranges (also while
    /// they are not active), "softvalue".
    static void AddMinMaxToResult(const CProjCon& control, Json::Value& obj);
    /// "list" of list controls, without the entries that are not visible.
    /// @param withText  whether entries have their "text"
    void AddListToResult(const CProjCon& control, Json::Value& obj, bool withText) const;
    /// What changes at run time beside the value: enabled, and list or range.
    void AddPropToResult(const CProjCon& control, Json::Value& obj, bool withText) const;
    /// What stays as it is: type, access group, texts, default, decimals, icon.
    static void AddAttrToResult(const CProjCon& control, Json::Value& obj);

protected:
    static Json::Value GetDefault(const CProjCon& control); ///< a text's as text, any other's as a number

    /// Whether the caller's level lets it use the control.
    bool IsAllowed(const CProjCon& control, const Json::Value& request) const;

    /// Finds a control. @returns null, logged and with error 101 answered, when there is none
    CProjCon* FindControl(const std::string& code, const Json::Value& request, Json::Value& response) const;
    /// Finds a control that the caller may use.
    /// @returns null, logged and answered: error 101 when there is none, 117 when it is protected
    CProjCon* FindAllowedControl(const std::string& code, const Json::Value& request,
                                 Json::Value& response) const;
};
