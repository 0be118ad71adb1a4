#pragma once

#include <QImage>
#include <QList>
#include <QWidget>

#include <algorithm>

namespace velmora::test {

// The share of a widget's pixels, as painted on its screen, that lie in an anti-aliased
// edge: neither the dark nor the light side of what it draws. A picture blown up from fewer
// pixels than the screen has shows wider edges.
inline double edgeShare(QWidget *widget)
{
    const QImage image = widget->grab().toImage();
    QList<int> levels;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            levels << qGray(image.pixel(x, y));
    }
    std::sort(levels.begin(), levels.end());
    const int dark = levels.at(levels.size() / 10), light = levels.at(levels.size() * 9 / 10);
    const int margin = (light - dark) / 5;
    return double(std::count_if(levels.begin(), levels.end(),
                                [&](int level) { return level > dark + margin && level < light - margin; }))
        / levels.size();
}

} // namespace velmora::test
