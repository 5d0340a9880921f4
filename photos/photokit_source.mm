#include "photokit_source.h"

#include <QCoreApplication>
#include <QMetaObject>

#import <AppKit/AppKit.h>
#import <Photos/Photos.h>

#include <memory>

namespace velora {

namespace {

PhotoAccess accessOf(PHAuthorizationStatus status)
{
    switch (status) {
    case PHAuthorizationStatusAuthorized: return PhotoAccess::authorized;
    case PHAuthorizationStatusLimited: return PhotoAccess::limited;
    case PHAuthorizationStatusRestricted: return PhotoAccess::restricted;
    case PHAuthorizationStatusDenied: return PhotoAccess::denied;
    case PHAuthorizationStatusNotDetermined:
    default: return PhotoAccess::notDetermined;
    }
}

QString qt(NSString* s) { return s ? QString::fromNSString(s) : QString(); }

// Still images only, newest first.
PHFetchOptions* imageFilter()
{
    PHFetchOptions* options = [[PHFetchOptions alloc] init];
    options.predicate = [NSPredicate predicateWithFormat:@"mediaType == %d", PHAssetMediaTypeImage];
    options.sortDescriptors = @[ [NSSortDescriptor sortDescriptorWithKey:@"creationDate" ascending:NO] ];
    return options;
}

PHAssetCollection* collectionWithID(const QString& id)
{
    PHFetchResult<PHAssetCollection*>* found =
        [PHAssetCollection fetchAssetCollectionsWithLocalIdentifiers:@[ id.toNSString() ] options:nil];
    return found.firstObject;
}

AlbumKind kindOf(PHAssetCollectionSubtype subtype)
{
    switch (subtype) {
    case PHAssetCollectionSubtypeSmartAlbumUserLibrary: return AlbumKind::allPhotos;
    case PHAssetCollectionSubtypeSmartAlbumFavorites: return AlbumKind::favorites;
    case PHAssetCollectionSubtypeSmartAlbumRecentlyAdded: return AlbumKind::recentlyAdded;
    case PHAssetCollectionSubtypeSmartAlbumPanoramas: return AlbumKind::panoramas;
    case PHAssetCollectionSubtypeSmartAlbumScreenshots: return AlbumKind::screenshots;
    default: return AlbumKind::otherSmart;
    }
}

// Draws the delivered image into a QImage of the same pixel size.
std::optional<QImage> toQImage(NSImage* image)
{
    if (!image) return std::nullopt;
    CGImageRef cg = [image CGImageForProposedRect:nullptr context:nil hints:nil];
    if (!cg) return std::nullopt;
    QImage out(int(CGImageGetWidth(cg)), int(CGImageGetHeight(cg)), QImage::Format_ARGB32_Premultiplied);
    if (out.isNull()) return std::nullopt;
    CGColorSpaceRef space = CGColorSpaceCreateWithName(kCGColorSpaceSRGB);
    CGContextRef ctx = CGBitmapContextCreate(out.bits(), out.width(), out.height(), 8, out.bytesPerLine(), space,
                                             kCGImageAlphaPremultipliedFirst | kCGBitmapByteOrder32Host);
    CGColorSpaceRelease(space);
    if (!ctx) return std::nullopt;
    CGContextDrawImage(ctx, CGRectMake(0, 0, out.width(), out.height()), cg);
    CGContextRelease(ctx);
    return out;
}

} // namespace

QString PhotoKitSource::name() const { return QCoreApplication::translate("velora::PhotoKitSource", "Photos"); }

PhotoAccess PhotoKitSource::access() const
{
    return accessOf([PHPhotoLibrary authorizationStatusForAccessLevel:PHAccessLevelReadWrite]);
}

void PhotoKitSource::requestAccess(std::function<void(PhotoAccess)> done)
{
    [PHPhotoLibrary requestAuthorizationForAccessLevel:PHAccessLevelReadWrite
                                               handler:^(PHAuthorizationStatus status) {
                                                 const PhotoAccess access = accessOf(status);
                                                 QMetaObject::invokeMethod(
                                                     QCoreApplication::instance(), [done, access] { done(access); },
                                                     Qt::QueuedConnection);
                                               }];
}

QList<PhotoCollection> PhotoKitSource::collections() const
{
    QList<PhotoCollection> out;
    @autoreleasepool {
        PHFetchResult<PHAssetCollection*>* smart =
            [PHAssetCollection fetchAssetCollectionsWithType:PHAssetCollectionTypeSmartAlbum
                                                     subtype:PHAssetCollectionSubtypeAny
                                                     options:nil];
        for (PHAssetCollection* c in smart)
            out.append({qt(c.localIdentifier), qt(c.localizedTitle), kindOf(c.assetCollectionSubtype)});
        PHFetchResult<PHAssetCollection*>* albums =
            [PHAssetCollection fetchAssetCollectionsWithType:PHAssetCollectionTypeAlbum
                                                     subtype:PHAssetCollectionSubtypeAny
                                                     options:nil];
        for (PHAssetCollection* c in albums) out.append({qt(c.localIdentifier), qt(c.localizedTitle), AlbumKind::user});
    }
    return out;
}

int PhotoKitSource::count(const PhotoCollection& collection) const
{
    @autoreleasepool {
        PHAssetCollection* c = collectionWithID(collection.id);
        return c ? int([PHAsset fetchAssetsInAssetCollection:c options:imageFilter()].count) : 0;
    }
}

QList<PhotoAsset> PhotoKitSource::assets(const PhotoCollection& collection, int limit) const
{
    QList<PhotoAsset> out;
    @autoreleasepool {
        PHAssetCollection* c = collectionWithID(collection.id);
        if (!c) return out;
        PHFetchResult<PHAsset*>* result = [PHAsset fetchAssetsInAssetCollection:c options:imageFilter()];
        for (PHAsset* asset in result) {
            if (out.size() >= limit) break;
            PhotoAsset a;
            a.id = qt(asset.localIdentifier);
            id filename = [asset valueForKey:@"filename"];
            if ([filename isKindOfClass:[NSString class]]) a.fileName = qt(filename);
            if (asset.creationDate)
                a.created = QDateTime::fromMSecsSinceEpoch(qint64(asset.creationDate.timeIntervalSince1970 * 1000));
            out.append(std::move(a));
        }
    }
    return out;
}

std::optional<QImage> PhotoKitSource::image(const PhotoAsset& asset, int longestSide) const
{
    @autoreleasepool {
        PHAsset* found = [PHAsset fetchAssetsWithLocalIdentifiers:@[ asset.id.toNSString() ] options:nil].firstObject;
        if (!found) return std::nullopt;
        const bool thumbnail = longestSide <= 300;
        PHImageRequestOptions* options = [[PHImageRequestOptions alloc] init];
        options.deliveryMode = thumbnail ? PHImageRequestOptionsDeliveryModeOpportunistic
                                         : PHImageRequestOptionsDeliveryModeHighQualityFormat;
        options.resizeMode = thumbnail ? PHImageRequestOptionsResizeModeFast : PHImageRequestOptionsResizeModeExact;
        options.networkAccessAllowed = YES;

        // Called on a worker, never the main thread: a synchronous request blocks only the worker,
        // and its handler runs right here (an asynchronous one would need the main thread, which
        // may itself be waiting for the workers). A degraded result is ignored; the first other
        // one completes the request, later ones are dropped.
        options.synchronous = YES;
        __block bool completed = false;
        __block std::optional<QImage> result;
        [[PHImageManager defaultManager] requestImageForAsset:found
                                                   targetSize:CGSizeMake(longestSide, longestSide)
                                                  contentMode:PHImageContentModeAspectFit
                                                      options:options
                                                resultHandler:^(NSImage* image, NSDictionary* info) {
                                                  if ([info[PHImageResultIsDegradedKey] boolValue] || completed) return;
                                                  completed = true;
                                                  result = toQImage(image);
                                                }];
        return result;
    }
}

PhotoSources discoverPhotoSources(const SourcePlaces&) { return {std::make_shared<PhotoKitSource>()}; }

} // namespace velora
