// PackPixels.cs - for hosts in C#: copies a picture with padded or reversed rows, or one plane of it, into rows
// that follow each other, top row first, as frames are pushed. One file, C# 7, no unsafe code; any thread.
using System;
using System.Runtime.InteropServices;

namespace LumetraCore
{
    /// <summary>Packs pictures whose rows do not follow each other. The stride is the number of bytes from a row
    /// to the one below it; it is negative where memory holds the bottom row first, and the top row is then the
    /// last one, (height - 1) times the bytes of a row behind the beginning.</summary>
    public static class PackPixels
    {
        /// <summary>Packs <paramref name="height"/> rows of <paramref name="width"/> pixels.</summary>
        /// <param name="source">The picture.</param>
        /// <param name="top">Where in it the top row begins.</param>
        /// <param name="stride">Bytes from a row to the one below it.</param>
        /// <param name="width">Pixels in a row.</param>
        /// <param name="height">Rows.</param>
        /// <param name="bytesPerPixel">1 for a plane or grey, 2 for YUYV, 3 for RGB and BGR, 4 for BGRA.</param>
        /// <param name="packed">Filled; not the array that the picture is in, unless the stride is positive and
        /// <paramref name="at"/> is not behind <paramref name="top"/>.</param>
        /// <param name="at">Where in it to begin: behind the planes that are there already.</param>
        /// <returns>The place behind what was written.</returns>
        /// <exception cref="ArgumentException">A side or pixel below 1, a row longer than the stride, or a
        /// picture that one of the arrays does not hold; nothing is written.</exception>
        public static int Pack(byte[] source, int top, int stride, int width, int height, int bytesPerPixel,
                               byte[] packed, int at = 0)
        {
            if (source == null) throw new ArgumentNullException(nameof(source));
            int row = CheckedRow(stride, width, height, bytesPerPixel, packed, at);
            long last = top + (long)(height - 1) * stride;
            if (Math.Min(top, last) < 0 || Math.Max(top, last) > source.Length - row)
                throw new ArgumentException("The picture is not within the array.", nameof(source));
            for (int y = 0; y < height; ++y)
                Buffer.BlockCopy(source, (int)(top + (long)y * stride), packed, at + y * row, row);
            return at + height * row;
        }

        /// <summary>The same from native memory, a locked camera buffer say.</summary>
        /// <param name="topRow">The top row; borrowed. All rows must be readable.</param>
        /// <param name="stride">Bytes from a row to the one below it.</param>
        /// <param name="width">Pixels in a row.</param>
        /// <param name="height">Rows.</param>
        /// <param name="bytesPerPixel">1 for a plane or grey, 2 for YUYV, 3 for RGB and BGR, 4 for BGRA.</param>
        /// <param name="packed">Filled.</param>
        /// <param name="at">Where in it to begin.</param>
        /// <returns>The place behind what was written.</returns>
        /// <exception cref="ArgumentException">As above.</exception>
        public static int Pack(IntPtr topRow, int stride, int width, int height, int bytesPerPixel,
                               byte[] packed, int at = 0)
        {
            if (topRow == IntPtr.Zero) throw new ArgumentNullException(nameof(topRow));
            int row = CheckedRow(stride, width, height, bytesPerPixel, packed, at);
            for (int y = 0; y < height; ++y)
                Marshal.Copy(new IntPtr(topRow.ToInt64() + (long)y * stride), packed, at + y * row, row);
            return at + height * row;
        }

        private static int CheckedRow(int stride, int width, int height, int bytesPerPixel, byte[] packed, int at)
        {
            if (packed == null) throw new ArgumentNullException(nameof(packed));
            if (width < 1 || height < 1 || bytesPerPixel < 1)
                throw new ArgumentException("A side or pixel is below 1.");
            if (width > Math.Abs((long)stride) / bytesPerPixel)
                throw new ArgumentException("A row is longer than the stride.", nameof(stride));
            int row = width * bytesPerPixel;
            if (at < 0 || at > packed.Length || height > (packed.Length - at) / row)
                throw new ArgumentException("The array has too little room.", nameof(packed));
            return row;
        }
    }
}
