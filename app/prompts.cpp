#include "prompts.h"

#include <QMessageBox>
#include <QPushButton>

namespace velora::Prompts {

namespace {
Handler& handler()
{
    static Handler h;
    return h;
}
} // namespace

void setHandler(Handler h) { handler() = std::move(h); }

bool confirm(QWidget* parent, const Question& q)
{
    if (handler()) return handler()(parent, q);
    QMessageBox box(parent);
    box.setIcon(QMessageBox::Warning);
    box.setWindowTitle(q.title);
    box.setText(q.title);
    box.setInformativeText(q.message);
    QPushButton* accept = box.addButton(q.acceptText, QMessageBox::DestructiveRole);
    QPushButton* cancel = box.addButton(QMessageBox::Cancel);
    box.setDefaultButton(cancel);
    box.setEscapeButton(cancel);
    box.exec();
    return box.clickedButton() == accept;
}

} // namespace velora::Prompts
