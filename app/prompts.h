#pragma once
// Questions and notices put to the user. Tests install their own answers instead of dialogs.
#include <QString>

#include <functional>

class QWidget;

namespace velora::Prompts {

struct Question {
    QString title;
    QString message;
    QString acceptText; // the destructive button, e.g. "Delete"
};

// A modal question with a destructive button and Cancel; true when the user accepted.
bool confirm(QWidget* parent, const Question& question);

using Handler = std::function<bool(QWidget* parent, const Question& question)>;
// Replaces the dialogs (an empty handler restores them).
void setHandler(Handler handler);

} // namespace velora::Prompts
