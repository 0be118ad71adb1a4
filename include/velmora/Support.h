#pragma once

#include <velmora/velmora_export.h>

#include <QSettings>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <memory>

namespace velmora {

class Bundle;
class Timer;

// The user-defaults store: QSettings with the host's organisation and application names,
// in a format that gives every value back with its type, also in the next process.
// Each call gives a fresh handle, so any thread may use its own.
VELMORA_EXPORT std::unique_ptr<QSettings> VLMUserDefaults();
VELMORA_EXPORT QVariant VLMObjForKey(const QString &key);
// Stores `object` under `key` and writes the store to disk at once. Any thread.
VELMORA_EXPORT void VLMSetObjForKey(const QVariant &object, const QString &key);

VELMORA_EXPORT Bundle VLMMainAppBundle();

// Language codes the framework carries translations for.
VELMORA_EXPORT QStringList VLMAllowLocale();
// The framework's translation of `key` in the user's language, or the key itself.
VELMORA_EXPORT QString VLMStringFromKey(const QString &key);

// Writes `message` to the "velmora" logging category, only in debug mode and while ads
// are on.
VELMORA_EXPORT void LOG(const QString &message);

// Marks a framework timer as one that keeps firing while the user drags, resizes or holds
// a menu. Qt's nested event loops already serve timers there; null is ignored.
VELMORA_EXPORT void setGodTimer(Timer *timer);

} // namespace velmora
