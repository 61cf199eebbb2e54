#ifndef KEP_HOST_EVENT_TEXT_H
#define KEP_HOST_EVENT_TEXT_H

#include <optional>
#include <string>

#include "media/event/event_element.h"

namespace kep::host {

/** Reads `pre` or `post`; false, with a line in which `owner` speaks, for a text that is no time. */
bool readSpan(const std::string& owner, const char* name, const std::string& text,
              std::chrono::milliseconds& span);

/** Reads `tp`, a time of the monotonic clock; none, with a line, for a text that is none or lies far ahead.
 */
std::optional<SteadyTime> readPoint(const std::string& owner, const std::string& text);

/** Reads `pre=,post=,tp=,url=`, all of which must be there; false, with a line, when one is wrong. The URL is
 * then read nevertheless, if there is one. */
bool readTrigger(const std::string& owner, const std::string& text, EventTrigger& trigger);

/** Adds `delApp`, whether the element deletes its application, which only its maker does here: a line says so
 * of `true`. */
void addDeletion(Properties& properties, const ObjectImpl& owner);

}  // namespace kep::host

#endif
