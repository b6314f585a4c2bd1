#pragma once

#include <QImage>
#include <QSize>

// What the elevation import tells whoever watches it: how far each of its
// three stages has come, a preview of the elevations, when it writes a
// large image, and the corrected elevations. The calls come from the importing thread between two steps of
// the work. This base class wants no preview and ignores every call, which
// is all a program without a window needs.
class ImportFeedback {
public:
    enum class Stage { Reading, Correcting, Coloring };

    virtual ~ImportFeedback() = default;

    // value of maximum steps of stage are done.
    virtual void setProgress(
        [[maybe_unused]] Stage stage, [[maybe_unused]] int value, [[maybe_unused]] int maximum)
    {
    }

    // The box a preview is fitted into, keeping its aspect ratio; an empty
    // size asks for no preview, and none is computed.
    virtual QSize previewSize() const { return {}; }
    virtual void showPreview([[maybe_unused]] const QImage& preview) { }

    // True from just before a work file is written until it is written.
    virtual void setSaving([[maybe_unused]] bool saving) { }

    // The corrected elevations as read back from their file, before they
    // are coloured; kept by a watcher that makes more of them.
    virtual void correctedElevations([[maybe_unused]] const QImage& image) { }
};
