// The controls of the projector, made from a file.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

class CEventDispatcher;
class CProjCon;
class IControlProxy;

/// Owns every control. A file that is wrong anywhere is refused as a whole; the refusal names file, control
/// and member. Dispatcher and proxies are not owned and must outlive it. Used from the loop's thread.
class CControlTable
{
public:
    using ProxyOf = std::function<IControlProxy&(std::string_view code)>;

    CControlTable(CEventDispatcher& dispatcher, ProxyOf proxyOf);
    CControlTable(const CControlTable&) = delete;
    CControlTable& operator=(const CControlTable&) = delete;
    ~CControlTable(); ///< removes the controls from the dispatcher

    /// Adds the controls of a file: {"version": 1, "controls": [{"code": "LUM", "type": 204, ...}, ...]}.
    /// Which members a control has depends on its type.
    /// @throws CException "PATH: REASON", "PATH: control CODE: member \"NAME\" REASON" and "PATH: control
    /// CODE:
    ///                    REASON"; the dispatcher is then of no further use
    void Load(const std::string& path);

    /// Brings the hardware to what the controls hold. Actions, menus and custom entries hold nothing.
    void UpdateHardware();

    std::size_t GetSize() const noexcept { return mControls.size(); }

private:
    CEventDispatcher& mDispatcher;
    ProxyOf mProxyOf;
    std::vector<std::unique_ptr<CProjCon>> mControls;
};
