#include "qfancytabwidget.h"

#include <QHBoxLayout>
#include <QListWidget>
#include <QStackedWidget>

namespace {
constexpr int kTabWidth = 92;
constexpr int kIconSize = 32;
} // namespace

QFancyTabWidget::QFancyTabWidget(QWidget* parent)
    : QWidget(parent), m_tabs(new QListWidget(this)), m_pages(new QStackedWidget(this))
{
    m_tabs->setObjectName("fancyTabs");
    m_tabs->setViewMode(QListView::IconMode);
    m_tabs->setFlow(QListView::TopToBottom);
    m_tabs->setMovement(QListView::Static);
    m_tabs->setWrapping(false);
    m_tabs->setResizeMode(QListView::Adjust);
    m_tabs->setIconSize(QSize(kIconSize, kIconSize));
    m_tabs->setGridSize(QSize(kTabWidth - 6, kIconSize + 34));
    m_tabs->setWordWrap(true);
    m_tabs->setFixedWidth(kTabWidth);
    m_tabs->setSpacing(0);
    m_tabs->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_tabs->setStyleSheet(
        "QListWidget#fancyTabs { background: #3c4048; color: white; border: none; }"
        "QListWidget#fancyTabs::item:selected { background: #5b8cc8; }");

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_tabs);
    layout->addWidget(m_pages, 1);

    connect(m_tabs, &QListWidget::currentRowChanged, this, [this](int row) {
        if (row >= 0 && row < m_pages->count())
            m_pages->setCurrentIndex(row);
        emit currentChanged(row);
    });
}

int QFancyTabWidget::addTab(QWidget* page, const QIcon& icon, const QString& text)
{
    m_pages->addWidget(page);
    auto* item = new QListWidgetItem(icon, text);
    item->setTextAlignment(Qt::AlignHCenter | Qt::AlignTop);
    item->setToolTip(text);
    m_tabs->addItem(item);
    return m_tabs->count() - 1;
}

void QFancyTabWidget::removeTab(int index)
{
    if (index < 0 || index >= count())
        return;
    QWidget* page = m_pages->widget(index);
    m_pages->removeWidget(page);
    delete m_tabs->takeItem(index);
    // The stack picks its next page by a rule of its own, and the list may keep its
    // current row number without a signal: the page on show is the current tab's.
    showCurrentPage();
}

void QFancyTabWidget::showCurrentPage()
{
    const int row = m_tabs->currentRow();
    if (row >= 0 && row < m_pages->count() && m_pages->currentIndex() != row)
        m_pages->setCurrentIndex(row);
}

void QFancyTabWidget::setTabText(int index, const QString& text)
{
    if (QListWidgetItem* item = m_tabs->item(index)) {
        item->setText(text);
        item->setToolTip(text);
    }
}

QString QFancyTabWidget::tabText(int index) const
{
    const QListWidgetItem* item = m_tabs->item(index);
    return item ? item->text() : QString();
}

QIcon QFancyTabWidget::tabIcon(int index) const
{
    const QListWidgetItem* item = m_tabs->item(index);
    return item ? item->icon() : QIcon();
}

QWidget* QFancyTabWidget::widget(int index) const
{
    return m_pages->widget(index);
}

int QFancyTabWidget::indexOf(QWidget* page) const
{
    return m_pages->indexOf(page);
}

int QFancyTabWidget::count() const
{
    return m_tabs->count();
}

int QFancyTabWidget::currentIndex() const
{
    return m_tabs->currentRow();
}

QWidget* QFancyTabWidget::currentWidget() const
{
    return m_pages->currentWidget();
}

QRect QFancyTabWidget::tabRect(int index) const
{
    const QListWidgetItem* item = m_tabs->item(index);
    if (!item)
        return {};
    const QRect r = m_tabs->visualItemRect(item);
    return QRect(m_tabs->viewport()->mapTo(this, r.topLeft()), r.size());
}

void QFancyTabWidget::setCurrentIndex(int index)
{
    m_tabs->setCurrentRow(index);
    showCurrentPage();
}
