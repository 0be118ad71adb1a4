#pragma once

#include <QString>

// Keys of the ad table and of its ad objects, exactly as the ad server spells them.
namespace velmora {

inline const QString kMainNameKey = QStringLiteral("VLMAppName");
inline const QString kMainBannerKey = QStringLiteral("standard");
inline const QString kMainVideoKey = QStringLiteral("video");
inline const QString kBannerURL = QStringLiteral("market_url");
inline const QString kVideoURL = QStringLiteral("market_url");
inline const QString kBannerImgURL = QStringLiteral("image_728x90");
inline const QString kBannerPriority = QStringLiteral("priority");
inline const QString kVideoPriority = QStringLiteral("priority");
inline const QString kBannerId = QStringLiteral("banner_id");
inline const QString kVideoBannerId = QStringLiteral("banner_id");
inline const QString kBannerName = QStringLiteral("name");
inline const QString kVideoName = QStringLiteral("name");
inline const QString kBannerUpdated = QStringLiteral("updated");
inline const QString kVideoUpdated = QStringLiteral("updated");
inline const QString kVideoImage = QStringLiteral("image");
inline const QString kVideoTitle = QStringLiteral("title");
inline const QString kVideoVotes = QStringLiteral("votes");
inline const QString kVideoRating = QStringLiteral("Rating");
inline const QString kVideoCapture = QStringLiteral("video_file_landscape");

} // namespace velmora
