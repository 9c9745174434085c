#pragma once
#include <QImage>
#include <QObject>
#include <QSize>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "kestrel/foundation/Export.h"
#include "kestrel/host/Rendering.h"

namespace kestrel {

/// What is to be shown of a picture.
struct PreviewRequest {
    std::string chainText;  ///< in the form of `Rendering::SetChainText`; empty: the picture as it is
    QSize box;              ///< screen pixels that the output is reduced to fit into; empty: full scale
    bool operator==(const PreviewRequest&) const = default;
};

/// What came out.
struct Preview {
    PreviewRequest request;
    QImage image;                   ///< null when it could not be made; about as large as the box asks for
    QSize full;                     ///< the output at full scale, pixels
    const char* problem = nullptr;  ///< key of the text that says why there is no image
};

/// Renders a picture's line on a thread of its own, the newest request only. A newer one lets a running one go on until
/// it has had a moment, so that a slider that is dragged shows something, and stops it then.
///
/// User interface thread only, whose event loop delivers the results. The end of the object stops the work and waits
/// for the rows in hand.
class KESTREL_API PreviewWorker : public QObject {
    Q_OBJECT
public:
    /// What a running request has from its start when a newer one arrives.
    static constexpr std::chrono::milliseconds kGrace{120};

    explicit PreviewWorker(Picture picture, QObject* parent = nullptr);
    ~PreviewWorker() override;

    /// Takes the place of the request that waits. Each is answered by `Ready` unless a newer one came.
    void Ask(PreviewRequest request);
    /// Is a request being rendered?
    bool IsBusy();
    /// The picture, which nobody changes; it lives as long as this object.
    const Dib* Image() const { return image_; }

Q_SIGNALS:
    void Ready(const kestrel::Preview& preview);

private:
    using Clock = std::chrono::steady_clock;

    void Run();
    Preview Make(const PreviewRequest& request);
    HRESULT Render(const PreviewRequest& request, Preview& preview);
    /// Reduces the picture by `factor` for the small line.
    HRESULT Reduce(double factor);
    void StopOutdated();
    void SetAbort(bool abort);

    const Dib* image_ = nullptr;
    int width_ = 0;
    int height_ = 0;
    Rendering full_;          ///< the worker's, but for `SetAbort`
    Rendering small_;         ///< the same over the reduced picture
    double smallFactor_ = 0;  ///< how much smaller that is; 0 without one

    std::mutex guard_;  ///< of all below
    std::condition_variable wake_;
    bool ending_ = false;
    std::optional<PreviewRequest> waiting_;
    std::uint64_t asked_ = 0;    ///< number of the newest request
    std::uint64_t running_ = 0;  ///< number of the running one; 0 while there is none
    Clock::time_point started_;
    std::thread thread_;
};

}  // namespace kestrel
