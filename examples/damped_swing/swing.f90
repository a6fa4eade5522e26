! A damped swing that a gust of wind pushes, which dies away itself: x'' + 2 x' + 5 x = f and f' = -3 f, or
!
!     d  (x )   ( 0   1   0) (x )
!     -- (x') = (-5  -2   1) (x')
!     dt (f )   ( 0   0  -3) (f )
!
! The eigenvalues are -1 + 2i, -1 - 2i and -3: the swing has a period of pi and loses a factor of e in one unit of time.
! Compile nuv_lapack.f90, which is installed beside the C header, first.
module motions
  use, intrinsic :: iso_c_binding
  implicit none
contains
  ! Whether a motion is gone soon.
  function is_fast(wr, wi) bind(c)
    real(c_double), intent(in) :: wr, wi
    integer(c_int) :: is_fast
    is_fast = merge(1, 0, wr < -2 .and. abs(wi) < huge(wi))
  end function is_fast
end module motions

program damped_swing
  use, intrinsic :: iso_c_binding
  use nuv_lapack
  use motions
  implicit none
  integer(c_int), parameter :: n = 3, lwork = 100
  real(c_double), parameter :: motion(n, n) = reshape([real(c_double) :: 0, -5, 0, 1, -2, 0, 0, 1, -3], [n, n])
  real(c_double) :: a(n, n), z(n, n), wr(n), wi(n), none(1, 1), work(lwork)
  integer(c_int) :: info, chosen, flags(n), k

  ! The values alone: no left ('N') and no right ('N') vectors. Of a pair the positive imaginary part comes first.
  a = motion
  call nuv_lapack_dgeev('N', 'N', n, a, n, wr, wi, none, 1, none, 1, work, lwork, info, 1, 1)
  print '("info = ", i0)', info
  do k = 1, n
    print '(f7.4, " ", sp, f7.4, " i")', wr(k), wi(k)
  end do

  ! The Schur form A = Z T Z^T with the fast motions first. The first columns of Z span what moves in them.
  a = motion
  call nuv_lapack_dgees('V', 'S', is_fast, n, a, n, chosen, wr, wi, z, n, work, lwork, flags, info, 1, 1)
  print '("info = ", i0, ", ", i0, " fast: ", f7.4)', info, chosen, wr(1)
  if (info /= 0) stop 1
end program damped_swing
