#pragma once
#include <functional>
#include <stdexcept>
#include <string>

#include "kestrel/framework/PdibFilter.h"
#include "kestrel/parameters/ParameterText.h"

namespace kestrel::test {

struct ProbeName {
    std::string progId;
    Description description;
};

/// A filter made for a test: any ProgID, any cost, a text of any length, failures on demand. Pixels pass through.
class Probe final : private ProbeName, public CPdibFilter {
public:
    explicit Probe(const std::string& name, int cost = 5000) : ProbeName{name, {}}, CPdibFilter(Named(*this, cost)) {}

    HRESULT QueryInterface(const GUID& iid, void** object) override {
        if ((iid == IFilterParameters::kIid && !hasText) || (iid == IFilterObject::kIid && !isFilter)) {
            *object = nullptr;
            return E_NOINTERFACE;
        }
        return CPdibFilter::QueryInterface(iid, object);
    }
    HRESULT SetParameterText(const char* value, int) override {
        ++textsSet;
        pending = value;
        return S_OK;
    }
    HRESULT GetParameterTextForSave(char* buffer, int size) override { return WriteText(pending, buffer, size, 1); }
    HRESULT GetParameterText(char* buffer, int size) override { return WriteText(active, buffer, size, 1); }
    bool HasChanged() override { return pending != active; }
    HRESULT CommitChanges() override {
        ++commits;
        active = pending;
        return S_OK;
    }
    HRESULT SetUpstream(IUnknown* previous) override {
        if (throwsOnLink) throw std::runtime_error("no link");
        return CPdibFilter::SetUpstream(previous);
    }

    const FilterGeometry& Accepted() const { return m_InActive; }
    const FilterGeometry& PendingGeometry() const { return m_InPending; }
    bool Dirty() const { return m_Dirty; }
    bool UpstreamDirty() const { return m_UpstreamDirty; }
    int Version() const { return m_Version; }
    double RenderScale() const { return m_RenderScale; }

    std::string pending;
    std::string active;
    bool hasText = true;   ///< does it have parameters?
    bool isFilter = true;  ///< does it answer for a filter, or for a host's end of the line only?
    bool throwsOnLink = false;
    int textsSet = 0;
    int commits = 0;

private:
    static const Description& Named(ProbeName& own, int cost) {
        own.description.progId = own.progId.c_str();
        own.description.cost = cost;
        return own.description;
    }
};

}  // namespace kestrel::test
