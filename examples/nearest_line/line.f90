! Four points, and the line that comes nearest to them:
!
!     7.8 |                     x
!     6.2 |                        x
!         |
!     1.8 | x
!     0.2 |    x
!         +------------------------
!          0.4 1.6          8.4 9.6
!
! The sum of the squared distances is least for the line through their middle (5, 4) along the first right singular
! vector of the coordinates that are counted from there, and it is the square of the second singular value. Compile
! nuv_lapack.f90, which is installed beside the C header, first.
program nearest_line
  use, intrinsic :: iso_c_binding
  use nuv_lapack
  implicit none
  integer(c_int), parameter :: points = 4, lwork = 200
  real(c_double), parameter :: x(points) = [3.4d0, 4.6d0, -4.6d0, -3.4d0], y(points) = [3.8d0, 2.2d0, -2.2d0, -3.8d0]
  real(c_double) :: a(points, 2), s(2), u(points, 2), vt(2, 2), r(points, 3), tau(3), work(lwork)
  integer(c_int) :: integers(16), from(3), rank, info

  ! Values and the vectors that belong to them ('S'); V^T has the right ones in its rows.
  a = reshape([x, y], [points, 2])
  call nuv_lapack_dgesdd('S', points, 2, a, points, s, u, points, vt, 2, work, lwork, integers, info, 1)
  print '("info = ", i0, ", s =", f8.4, f7.4)', info, s
  print '("the line rises by ", f6.4)', vt(1, 2) / vt(1, 1)

  ! A third column, x + y, tells nothing new. With column pivoting the diagonal of R falls, and shows it. A zero in
  ! `from` lets a column be pivoted; afterwards it tells where each column of R comes from.
  r = reshape([x, y, x + y], [points, 3])
  from = 0
  call nuv_lapack_dgeqp3(points, 3, r, points, from, tau, work, lwork, info)
  do rank = 0, 2
    if (abs(r(rank + 1, rank + 1)) <= 1d-12 * abs(r(1, 1))) exit
  end do
  print '("info = ", i0, ", rank ", i0, " of 3, column ", i0, " is the longest: ", f7.4)', info, rank, from(1), &
    abs(r(1, 1))
  if (info /= 0) stop 1
end program nearest_line
