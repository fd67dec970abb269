#pragma once

#include <memory>

struct Places;

namespace Core {

class ApplicationId;
class Findings;
class ManifestPrivate;

/// The manifest of an application's package, read once at construction. An application with a valid
/// manifest targets a newer platform. Problems become findings. Event-loop thread only.
class Manifest
{
public:
    /// An invalid manifest; reads nothing.
    Manifest();
    /// Reads the manifest of `application`, if that is a valid id. A missing file gives an invalid
    /// manifest.
    Manifest(const ApplicationId &application, const Places &places, Findings &findings);
    /// A valid manifest with a known value, which was read before.
    explicit Manifest(bool keepsMediaActiveInBackground);
    ~Manifest();
    Manifest(const Manifest &other);
    Manifest &operator=(const Manifest &other);

    /// True when the file was read and its top level is a JSON object.
    [[nodiscard]] bool isValid() const;
    /// Whether the application keeps media playing in the background; false when not declared.
    [[nodiscard]] bool keepMediaActiveInBackground() const;

private:
    std::unique_ptr<ManifestPrivate> d;
};

} // namespace Core
